#include "broker/amqpclient.h"
#include "broker/brokerexchange.h"
#include "broker/brokerprocess.h"
#include "exchange/chunkhub.h"
#include "support/deadline.h"

#include <plugin/chunkupdatelistener.h>

#include <QtCore/QElapsedTimer>
#include <QtCore/QUrl>
#include <QtTest/QTest>

#include <memory>

using namespace host;
using namespace support;
using namespace std::chrono_literals;

namespace {

constexpr std::chrono::milliseconds noHurry = 120s;

QJsonObject numbered(int number)
{
    return {{QStringLiteral("n"), number}};
}

class RecordingListener final : public ChunkUpdateListener
{
public:
    void chunkUpdate(const QJsonValue &chunk) override
    {
        numbers.append(chunk.toObject().value(QLatin1String("n")).toInt(-1));
    }

    QVector<int> numbers;
};

} // namespace

/// The exchange alone beside a real broker, with other limits than a host has: how it ends, what
/// it counts and how it takes turns.
class BrokerEndTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void cleanupTestCase() { m_broker.reset(); }
    void init();
    void cleanup();

    void whatWaitsIsSentBeforeTheEnd();
    void brokerThatIsBackInTimeGetsWhatWaited();
    void pausedBrokerGetsTheTimeAndNoMore();
    void absentBrokerGetsTheTimeAndNoMore();
    void muteBrokerGetsTheTimeAndNoMore();
    void nothingIsWaitedForWhenNothingWaits();
    void dropsAreCountedAndTold();
    void everythingComesThroughAnInboxThatIsAlwaysFull();

private:
    void start();
    void publish(int chunks);
    int arrived();

    std::unique_ptr<BrokerProcess> m_broker;
    BrokerSettings m_settings;
    ChunkHub m_hub;
    std::unique_ptr<BrokerExchange> m_exchange;
};

void BrokerEndTest::initTestCase()
{
    m_broker = std::make_unique<BrokerProcess>();
    QVERIFY(m_broker->start());
}

void BrokerEndTest::init()
{
    m_settings = BrokerSettings();
    m_settings.address = brokerAddress(QUrl(m_broker->url()), QString());
    m_settings.workstation = QStringLiteral("ws1");
    m_settings.eventExchange = QStringLiteral("events");
    m_settings.limits.flush = noHurry;
    AmqpClient client(m_broker->port());
    QVERIFY(client.declareExchange("events", "topic"));
    QVERIFY(!client.declareQueue("arrived").isEmpty());
    QVERIFY(client.bind("arrived", "events", "#"));
}

void BrokerEndTest::cleanup()
{
    m_exchange.reset();
    AmqpClient(m_broker->port()).deleteQueue("arrived");
}

void BrokerEndTest::start()
{
    m_exchange = std::make_unique<BrokerExchange>(m_settings, &m_hub);
    m_exchange->start();
    QTRY_VERIFY_WITH_TIMEOUT(m_exchange->counts().connected, int(noHurry.count()));
}

void BrokerEndTest::publish(int chunks)
{
    for (int i = 0; i < chunks; ++i)
        m_exchange->published(numbered(i));
}

int BrokerEndTest::arrived()
{
    return AmqpClient(m_broker->port()).count("arrived");
}

void BrokerEndTest::whatWaitsIsSentBeforeTheEnd()
{
    constexpr int chunks = 5000;
    start();
    publish(chunks);
    m_exchange->finish();
    QCOMPARE(m_exchange->counts().waiting, 0);
    QCOMPARE(m_exchange->counts().published, quint64(chunks));
    QCOMPARE(arrived(), chunks);
}

// The pause between attempts is long by then; the end does not wait for it.
void BrokerEndTest::brokerThatIsBackInTimeGetsWhatWaited()
{
    constexpr int chunks = 100;
    start();
    m_broker->kill();
    QTRY_VERIFY_WITH_TIMEOUT(!m_exchange->counts().connected, int(noHurry.count()));
    publish(chunks);
    QVERIFY(m_broker->start());
    m_exchange->finish();
    QCOMPARE(m_exchange->counts().waiting, 0);
    QCOMPARE(arrived(), chunks);
}

void BrokerEndTest::pausedBrokerGetsTheTimeAndNoMore()
{
    m_settings.limits.flush = 300ms;
    start();
    m_broker->suspend();
    publish(7);
    QTest::ignoreMessage(QtWarningMsg, "Chunks that the broker did not confirm before the end: 7");
    QElapsedTimer clock;
    clock.start();
    m_exchange->finish();
    const qint64 took = clock.elapsed();
    m_broker->resume();
    QVERIFY(took >= m_settings.limits.flush.count());
    QCOMPARE(m_exchange->counts().waiting, 7);
}

void BrokerEndTest::absentBrokerGetsTheTimeAndNoMore()
{
    m_settings.limits.flush = 300ms;
    m_settings.address.port = 1; // where nobody listens
    m_exchange = std::make_unique<BrokerExchange>(m_settings, &m_hub);
    m_exchange->start();
    publish(7);
    QTest::ignoreMessage(QtWarningMsg, "Chunks that the broker did not confirm before the end: 7");
    QElapsedTimer clock;
    clock.start();
    m_exchange->finish();
    QVERIFY(clock.elapsed() >= m_settings.limits.flush.count());
    QCOMPARE(m_exchange->counts().waiting, 7);
}

// It takes the connection, but never a login.
void BrokerEndTest::muteBrokerGetsTheTimeAndNoMore()
{
    m_settings.limits.flush = 300ms;
    m_settings.limits.connect = 1h;
    m_broker->suspend();
    m_exchange = std::make_unique<BrokerExchange>(m_settings, &m_hub);
    m_exchange->start();
    publish(7);
    QTest::ignoreMessage(QtWarningMsg, "Chunks that the broker did not confirm before the end: 7");
    m_exchange->finish();
    m_broker->resume();
    QCOMPARE(m_exchange->counts().waiting, 7);
}

// It would take as long as the test may.
void BrokerEndTest::nothingIsWaitedForWhenNothingWaits()
{
    m_settings.address.port = 1;
    m_settings.limits.flush = 1h;
    m_exchange = std::make_unique<BrokerExchange>(m_settings, &m_hub);
    m_exchange->start();
    m_exchange->finish();
    QCOMPARE(m_exchange->counts().waiting, 0);
}

void BrokerEndTest::dropsAreCountedAndTold()
{
    m_settings.address.port = 1;
    m_settings.limits.flush = 0ms;
    m_settings.limits.outbox.messages = 10;
    m_exchange = std::make_unique<BrokerExchange>(m_settings, &m_hub);
    m_exchange->start();
    QTest::ignoreMessage(QtWarningMsg,
                         "Too much waits for the broker: the oldest chunks are dropped");
    publish(25);
    QCOMPARE(m_exchange->counts().dropped, quint64(15));
    QCOMPARE(m_exchange->counts().waiting, 10);
    QTest::ignoreMessage(QtWarningMsg, "Chunks dropped: 15");
    QTest::ignoreMessage(QtWarningMsg, "Chunks that the broker did not confirm before the end: 10");
    m_exchange->finish();
}

void BrokerEndTest::everythingComesThroughAnInboxThatIsAlwaysFull()
{
    constexpr int chunks = 300;
    m_settings.limits.inboxBytes = 0;
    m_settings.consume << QStringLiteral("more");
    RecordingListener listener;
    ChunkHub hub;
    hub.subscribe(&listener);
    m_exchange = std::make_unique<BrokerExchange>(m_settings, &hub);
    m_exchange->start();
    QTRY_VERIFY_WITH_TIMEOUT(m_exchange->counts().connected, int(noHurry.count()));
    AmqpClient client(m_broker->port());
    for (int i = 0; i < chunks; ++i)
        QVERIFY(client.publish("more", "all", R"({"n":)" + QByteArray::number(i) + '}'));
    QTRY_COMPARE_WITH_TIMEOUT(listener.numbers.size(), chunks, int(noHurry.count()));
    for (int i = 0; i < chunks; ++i)
        QCOMPARE(listener.numbers.at(i), i);
    QTRY_COMPARE(client.count("kavo-context.ws1"), 0);
    m_exchange.reset();
}

QTEST_GUILESS_MAIN(BrokerEndTest)
#include "tst_broker_end.moc"
