#include "broker/amqpclient.h"
#include "broker/brokerhost.h"
#include "broker/pulse.h"
#include "support/deadline.h"

#include <QtCore/QJsonDocument>
#include <QtCore/QThread>
#include <QtTest/QTest>

#include <atomic>
#include <map>
#include <mutex>
#include <thread>
#include <vector>

using namespace support;
using namespace std::chrono_literals;

namespace {

constexpr int chunks = 20000;
constexpr int burst = 100; // published before their confirmations are waited for
constexpr std::chrono::milliseconds longPatience = 300s;

// Publishes the numbers 0 to `chunks`, each until the broker has confirmed it, through as many
// connections as it takes.
void publishAll(quint16 port, std::atomic<int> *confirmed)
{
    while (*confirmed < chunks) {
        AmqpClient client(port);
        if (!client.isOpen() || !client.confirm()) {
            QThread::msleep(50); // there is no broker just now
            continue;
        }
        for (quint64 sent = 0; client.isOpen() && *confirmed < chunks;) {
            const int end = std::min(chunks, *confirmed + burst);
            for (int i = *confirmed; i < end && client.isOpen(); ++i, ++sent)
                client.publish("kavo-context-rpc-set", "ws1",
                               R"({"body":{"_id":"n","n":)" + QByteArray::number(i) + "}}");
            if (client.waitForConfirms(sent))
                *confirmed = end;
        }
    }
}

/// What arrived on a durable queue of events, however often the broker went away.
class EventReader
{
public:
    void run(quint16 port, const QByteArray &queue)
    {
        while (!m_isOver) {
            AmqpClient client(port);
            if (!client.isOpen() || !client.consume(queue, burst)) {
                QThread::msleep(50);
                continue;
            }
            while (!m_isOver && client.isOpen()) {
                if (const auto message = client.next(500ms))
                    note(*message);
            }
        }
    }

    void end() { m_isOver = true; }

    int distinct() const
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        return int(m_seen.size());
    }

    // Every number that came more than once, with how often, neighbours together: "7-9 (2 times)".
    QByteArray duplicates() const
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        QByteArray text;
        for (auto it = m_seen.begin(); it != m_seen.end();) {
            const auto first = it;
            int last = first->first;
            for (++it; it != m_seen.end(); ++it, ++last) {
                if (it->first != last + 1 || it->second != first->second)
                    break;
            }
            if (first->second < 2)
                continue;
            text += (text.isEmpty() ? "" : ", ") + QByteArray::number(first->first);
            if (last > first->first)
                text += '-' + QByteArray::number(last);
            text += " (" + QByteArray::number(first->second) + " times)";
        }
        return text;
    }

    int surplus() const { return m_total - distinct(); }

    // How often a number came for the first time after a higher one had: lost order.
    int disordered() const { return m_disordered; }

private:
    void note(const AmqpMessage &message)
    {
        const int number = numberIn(message);
        if (number < 0)
            return; // of the other context
        const std::lock_guard<std::mutex> lock(m_mutex);
        ++m_total;
        if (m_seen[number]++ == 0) {
            if (number < m_highest)
                ++m_disordered;
            m_highest = std::max(m_highest, number);
        }
    }

    std::atomic<bool> m_isOver{false};
    mutable std::mutex m_mutex;
    std::map<int, int> m_seen;
    int m_total = 0;
    int m_highest = -1;
    int m_disordered = 0;
};

} // namespace

/// Twenty thousand numbered chunks, while everything that can go away does.
class BrokerLossTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void everyChunkIsHandledAndEveryEventArrives();
    void whatWaitsForAnAbsentBrokerArrivesInOrder();
};

void BrokerLossTest::everyChunkIsHandledAndEveryEventArrives()
{
    BrokerProcess broker;
    QVERIFY(broker.start());
    HostSetup setup = brokerSetup(broker, QStringLiteral("ws1"));
    auto host = std::make_unique<HostProcess>(setup);
    QVERIFY(host->start());
    QVERIFY(waitForBroker(host->port()));
    {
        AmqpClient client(broker.port());
        QCOMPARE(client.declareQueue("events"), QByteArray("events"));
        QVERIFY(client.bind("events", "kavo-context-events", "ws1.context-changed"));
    }
    QCOMPARE(HttpClient(host->port()).exchange("PUT", Pulse::path(), {}, "{}").status, 201);
    auto pulse = std::make_unique<Pulse>(host->port());
    QTRY_VERIFY(pulse->answers() >= Pulse::enough);
    pulse->stop();
    const QByteArray before = Pulse::summary(pulse->micros());
    pulse = std::make_unique<Pulse>(host->port());
    std::atomic<int> confirmed{0};
    EventReader reader;
    std::thread readerThread([&] { reader.run(broker.port(), "events"); });
    std::thread publisherThread([&] { publishAll(broker.port(), &confirmed); });
    const auto passed = [&](int share) {
        return waitUntil(
            [&] {
                QThread::msleep(5); // leaves the processor to the others
                return confirmed >= chunks * share / 100;
            },
            longPatience);
    };

    bool isWell = true;
    for (const int share : {10, 25, 40}) {
        isWell = isWell && passed(share);
        broker.kill();
        isWell = isWell && broker.start() && waitForBroker(host->port());
    }
    isWell = isWell && passed(55) &&
             broker.control({QStringLiteral("close_all_connections"), QStringLiteral("cut")});
    isWell = isWell && passed(70) && waitForBroker(host->port());
    pulse->stop();
    int failures = pulse->failures();
    std::vector<qint64> micros = pulse->micros();
    host.reset(); // ends it as an administrator does, and checks its exit status
    isWell = isWell && passed(85);
    host = std::make_unique<HostProcess>(setup);
    isWell = isWell && host->start();
    HttpClient(host->port()).exchange("PUT", Pulse::path(), {}, "{}");
    pulse = std::make_unique<Pulse>(host->port());
    isWell = isWell && passed(100);
    const bool hasAll =
        isWell && waitUntil([&] { return reader.distinct() >= chunks; }, longPatience);

    pulse->stop();
    failures += pulse->failures();
    micros.insert(micros.end(), pulse->micros().begin(), pulse->micros().end());

    confirmed = chunks; // ends the publisher also after a failure
    publisherThread.join();
    reader.end();
    readerThread.join();
    qInfo("%d numbers arrived; %d messages were duplicates: %s", reader.distinct(),
          reader.surplus(), reader.duplicates().constData());
    qInfo("HTTP before: %s", before.constData());
    qInfo("HTTP during: %s", Pulse::summary(micros).constData());
    QVERIFY2(isWell, host ? host->log().constData() : "no host");
    QVERIFY2(hasAll, host ? host->log().constData() : "no host");
    QCOMPARE(reader.distinct(), chunks);
    QCOMPARE(reader.disordered(), 0);
    QCOMPARE(failures, 0);
    QVERIFY(int(micros.size()) >= Pulse::enough);
}

void BrokerLossTest::whatWaitsForAnAbsentBrokerArrivesInOrder()
{
    BrokerProcess broker;
    QVERIFY(broker.start());
    HostProcess host(brokerSetup(broker, QStringLiteral("ws1")));
    QVERIFY(host.start());
    QVERIFY(waitForBroker(host.port()));
    {
        AmqpClient client(broker.port());
        QCOMPARE(client.declareQueue("events"), QByteArray("events"));
        QVERIFY(client.bind("events", "kavo-context-events", "#"));
    }
    broker.kill();
    QVERIFY(waitForBroker(host.port(), QStringLiteral("connecting")));
    constexpr int local = 300;
    for (int i = 0; i < local; ++i)
        QVERIFY(postNumbers(host.port(), i, i));
    QVERIFY(broker.start());
    QVERIFY(waitForBroker(host.port()));
    AmqpClient client(broker.port());
    QVERIFY(client.consume("events"));
    for (int i = 0; i < local; ++i) {
        const auto event = client.next();
        QVERIFY(event);
        QCOMPARE(numberIn(*event), i);
    }
}

QTEST_GUILESS_MAIN(BrokerLossTest)
#include "tst_broker_loss.moc"
