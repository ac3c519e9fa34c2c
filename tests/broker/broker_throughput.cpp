// Messages per second in and out through kavo-host, beside a bare client of the same library in
// the same run. Prints one line for each; docs/rabbitmq.md shows some.
#include "broker/amqpclient.h"
#include "broker/brokerhost.h"
#include "support/eventstream.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QElapsedTimer>

#include <cstdio>
#include <thread>

namespace {

constexpr int messages = 100000;
constexpr int window = 500; // as many are on the way to the host before it acknowledges some
constexpr int atOnce = 100; // acknowledged at once, where it is not each

// Every one changes the context, so that the module publishes one event for it.
QByteArray body(int number)
{
    return R"({"body":{"_id":"n","n":)" + QByteArray::number(number) + "}}";
}

// As the module has it: what changed, and the whole.
QByteArray event(int number)
{
    const QByteArray content = R"({"n":)" + QByteArray::number(number) + '}';
    return R"({"data":{"context":)" + content + R"(,"data":)" + content +
           R"(,"event":"context-changed","id":"n"},"source":"z9-plugin-context","version":"1.1.2"})";
}

void print(const char *what, const QElapsedTimer &clock, int count = messages)
{
    std::printf("%-38s %8.0f messages/s\n", what, count * 1e9 / double(clock.nsecsElapsed()));
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

bool bareConsumer(quint16 port, int acknowledged, const char *what)
{
    AmqpClient consumer(port);
    QElapsedTimer clock;
    if (!fill(port, "", "bare") || !consumer.consume("bare", window, acknowledged) ||
        !drain(&consumer, &clock))
        return false;
    print(what, clock);
    return true;
}

bool bare(quint16 port)
{
    AmqpClient owner(port);
    owner.declareQueue("bare");
    owner.declareQueue("bare-out");
    QElapsedTimer clock;
    clock.start();
    if (!fill(port, "", "bare-out"))
        return false;
    print("bare publisher", clock);
    if (!bareConsumer(port, 1, "bare consumer") ||
        !bareConsumer(port, atOnce, "bare consumer, 100 acknowledged at once"))
        return false;

    return true;
}

// What the host does, without the module: takes persistent messages with acknowledgements, and
// publishes as many bytes as an event has, with confirmations, no more than `window` without one.
bool relay(quint16 port)
{
    AmqpClient consumer(port);
    AmqpClient publisher(port);
    bool isWell = consumer.consume("bare", window, atOnce) && publisher.confirm();
    for (int i = 0; i < messages && isWell; ++i)
        isWell = consumer.next() && publisher.publish("bare-events", "ws1.bare", event(i)) &&
                 (i < window || publisher.waitForConfirms(quint64(i - window)));
    return isWell && publisher.waitForConfirms(messages);
}

bool bareInAndOut(quint16 port)
{
    AmqpClient events(port);
    events.declareQueue("bare-seen");
    events.declareExchange("bare-events", "topic");
    if (!events.bind("bare-seen", "bare-events", "#") ||
        !events.consume("bare-seen", window, atOnce) || !fill(port, "", "bare"))
        return false;
    bool isRelayed = false;
    std::thread thread([&] { isRelayed = relay(port); });
    QElapsedTimer clock;
    const bool isWell = drain(&events, &clock);
    print("bare, in and out", clock);
    thread.join();
    return isWell && isRelayed;
}

// The host's queue is filled before the host is there.
bool prepare(quint16 port, const QByteArray &exchange)
{
    AmqpClient owner(port);
    return !owner.declareQueue("kavo-context.ws1").isEmpty() &&
           owner.declareExchange(exchange, "topic") &&
           owner.bind("kavo-context.ws1", exchange, "ws1") && fill(port, exchange, "ws1");
}

// Chunks that no behaviour answers to: what it costs to bring them to the module. Behind them is
// one that publishes an event, which tells that they are all handled.
bool hostIn(const BrokerProcess &broker)
{
    AmqpClient events(broker.port());
    const QByteArray over = events.declareQueue();
    events.declareExchange("kavo-context-events", "topic");
    events.declareExchange("kavo-context-rpc-set", "topic");
    if (!events.bind(over, "kavo-context-events", "#") || !events.consume(over) ||
        !prepare(broker.port(), "measured-in") ||
        !events.bind("kavo-context.ws1", "kavo-context-rpc-set", "ws1") ||
        !events.publish("kavo-context-rpc-set", "ws1", body(messages)))
        return false;
    support::HostProcess host(
        brokerSetup(broker, QStringLiteral("ws1"),
                    {QStringLiteral("--consume"), QStringLiteral("measured-in")}));
    AmqpClient watcher(broker.port());
    while (watcher.count("kavo-context.ws1") <= messages) {
    }
    host.launch();
    int waiting = messages + 1;
    while (waiting > messages)
        waiting = watcher.count("kavo-context.ws1");
    QElapsedTimer clock;
    clock.start();
    const bool isWell = waiting > 0 && events.next();
    print("host, in", clock, waiting);
    return isWell;
}

// Chunks that change a context, each of which publishes one event.
bool hostInAndOut(const BrokerProcess &broker)
{
    AmqpClient events(broker.port());
    events.declareQueue("seen");
    events.declareExchange("kavo-context-events", "topic");
    if (!events.bind("seen", "kavo-context-events", "#") ||
        !events.consume("seen", window, atOnce) || !prepare(broker.port(), "kavo-context-rpc-set"))
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
    const bool isWell = broker.start() && bare(broker.port()) && hostIn(broker) &&
                        bareInAndOut(broker.port()) && hostInAndOut(broker);
    return isWell ? 0 : 1;
}
