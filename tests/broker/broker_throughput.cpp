// Messages per second in and out through kavo-host, beside a bare client of the same library in
// the same run. Prints one line for each; docs/operations.md shows how to read them.
#include "broker/amqpclient.h"
#include "broker/brokerhost.h"
#include "support/eventstream.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QElapsedTimer>

#include <cstdio>

namespace {

constexpr int messages = 20000;
constexpr int window = 500; // acknowledged and confirmed at the latest after so many

// Every one changes the context, so that the module publishes one event for it.
QByteArray body(int number)
{
    return R"({"body":{"_id":"n","n":)" + QByteArray::number(number) + "}}";
}

void print(const char *what, const QElapsedTimer &clock, int count = messages)
{
    std::printf("%-22s %8.0f messages/s\n", what, count * 1e9 / double(clock.nsecsElapsed()));
    std::fflush(stdout);
}

bool fill(quint16 port, const QByteArray &exchange, const QByteArray &key)
{
    AmqpClient client(port);
    bool isWell = client.confirm();
    for (int i = 0; i < messages && isWell; ++i)
        isWell = client.publish(exchange, key, body(i));
    return isWell && client.waitForConfirms(messages);
}

// The clock starts with the first message.
bool drain(AmqpClient *client, QElapsedTimer *clock)
{
    for (int i = 0; i < messages; ++i) {
        if (!client->next())
            return false;
        if (i == 0)
            clock->start();
    }
    return true;
}

// What the host does, without the module: takes persistent messages with acknowledgements and
// publishes them with confirmations.
bool bare(quint16 port)
{
    AmqpClient owner(port);
    owner.declareQueue("bare");
    owner.declareQueue("bare-out");
    QElapsedTimer clock;
    clock.start();
    if (!fill(port, "", "bare"))
        return false;
    print("bare publisher", clock);
    AmqpClient consumer(port);
    if (!consumer.consume("bare", window) || !drain(&consumer, &clock))
        return false;
    print("bare consumer", clock);

    if (!fill(port, "", "bare"))
        return false;
    AmqpClient publisher(port);
    clock.start();
    bool isWell = publisher.confirm();
    for (int i = 0; i < messages && isWell; ++i) {
        const auto message = consumer.next();
        isWell = message && publisher.publish("", "bare-out", message->body);
        if ((i + 1) % window == 0)
            isWell = isWell && publisher.waitForConfirms(quint64(i) + 1);
    }
    print("bare, in and out", clock);
    return isWell;
}

// The host's queue is filled before the host is there.
bool prepare(quint16 port, const QByteArray &exchange)
{
    AmqpClient owner(port);
    return !owner.declareQueue("kavo-context.ws1").isEmpty() &&
           owner.declareExchange(exchange, "topic") &&
           owner.bind("kavo-context.ws1", exchange, "ws1") && fill(port, exchange, "ws1");
}

// Chunks that no behaviour answers to: what it costs to bring them to the module.
bool hostIn(const BrokerProcess &broker)
{
    if (!prepare(broker.port(), "measured-in"))
        return false;
    support::HostProcess host(
        brokerSetup(broker, QStringLiteral("ws1"),
                    {QStringLiteral("--consume"), QStringLiteral("measured-in")}));
    host.launch();
    AmqpClient watcher(broker.port());
    int waiting = messages;
    while (waiting == messages)
        waiting = watcher.count("kavo-context.ws1");
    QElapsedTimer clock;
    clock.start();
    const int first = waiting;
    while (waiting > 0)
        waiting = watcher.count("kavo-context.ws1");
    print("host, in", clock, first);
    return waiting == 0;
}

// Chunks that change a context, each of which publishes one event.
bool hostInAndOut(const BrokerProcess &broker)
{
    AmqpClient events(broker.port());
    events.declareQueue("seen");
    events.declareExchange("kavo-context-events", "topic");
    if (!events.bind("seen", "kavo-context-events", "#") || !events.consume("seen", window) ||
        !prepare(broker.port(), "kavo-context-rpc-set"))
        return false;
    support::HostProcess host(
        brokerSetup(broker, QStringLiteral("ws1"),
                    {QStringLiteral("--consume"), QStringLiteral("measured-in")}));
    host.launch();
    QElapsedTimer clock;
    const bool isWell = drain(&events, &clock);
    print("host, in and out", clock);
    return isWell;
}

} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication core(argc, argv);
    BrokerProcess broker;
    const bool isWell =
        broker.start() && bare(broker.port()) && hostIn(broker) && hostInAndOut(broker);
    return isWell ? 0 : 1;
}
