#include "broker/amqpclient.h"
#include "broker/brokerhost.h"
#include "support/deadline.h"

#include <QtCore/QElapsedTimer>
#include <QtTest/QTest>

#include <memory>
#include <set>
#include <vector>

using namespace support;
using namespace std::chrono_literals;

namespace {

const QByteArray set = "kavo-context-rpc-set";
constexpr int largestBody = 64 * 1024 * 1024;
constexpr std::chrono::milliseconds longPatience = 120s; // for what is very large

// A request of exactly that many bytes, which sets the context "big".
QByteArray requestOf(int size)
{
    const QByteArray begin = R"({"body":{"_id":"big","text":")";
    const QByteArray end = "\"}}";
    return begin + QByteArray(size - begin.size() - end.size(), 'x') + end;
}

QByteArray textIn(const QByteArray &request)
{
    return request.mid(request.indexOf("xxx"), request.lastIndexOf('x') - request.indexOf("xxx"));
}

// What counts against the room for waiting chunks.
qint64 roomOf(const AmqpMessage &message)
{
    return qint64(message.exchange.size()) + message.routingKey.size() +
           message.correlationId.size() + message.body.size();
}

} // namespace

/// The limits as they are without any option, beside a real broker: bodies, the room for chunks
/// that wait, and the time at the end.
class BrokerLimitsTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void cleanupTestCase() { m_broker.reset(); }
    void init();
    void cleanup();

    void largestBodyComesAndItsReplyGoes();
    void largeBodysEventAndReplyBothGo();
    void largerBodyIsRejectedAndHarmsNothing();
    void burstIsNoLossWhileTheBrokerTakesMessages();
    void oldestOfTooManyChunksAreDropped();
    void oldestOfTooLargeChunksAreDropped();
    void pausedBrokerGetsEverythingLater();
    void fullQueueHoldsChunksBackUntilThereIsRoom();
    void endWaitsTwoSecondsForAPausedBroker();
    void endTellsWhatAnAbsentBrokerDidNotGet();

private:
    bool startAbsent();
    bool arrives(const char *id);
    std::vector<AmqpMessage> eventsUntil(int last);

    std::unique_ptr<BrokerProcess> m_broker;
    std::unique_ptr<HostProcess> m_host;
    QByteArray m_workstation;
    QByteArray m_events; ///< the durable queue of this test's events
};

void BrokerLimitsTest::initTestCase()
{
    m_broker = std::make_unique<BrokerProcess>();
    QVERIFY(m_broker->start());
}

// A workstation for each, so that none finds what another left.
void BrokerLimitsTest::init()
{
    if (!AmqpClient(m_broker->port()).isOpen())
        QVERIFY(m_broker->start()); // a test failed while it was away
    m_workstation = QByteArray(QTest::currentTestFunction()).toLower();
    m_events = "events-of-" + m_workstation;
    m_host =
        std::make_unique<HostProcess>(brokerSetup(*m_broker, QString::fromLatin1(m_workstation)));
    QVERIFY(m_host->start());
    QVERIFY(waitForBroker(m_host->port()));
    AmqpClient client(m_broker->port());
    QCOMPARE(client.declareQueue(m_events), m_events);
    QVERIFY(client.bind(m_events, "kavo-context-events", m_workstation + ".#"));
}

void BrokerLimitsTest::cleanup()
{
    if (QTest::currentTestFailed() && m_host)
        qWarning().noquote() << m_host->log();
    m_host.reset();
    AmqpClient(m_broker->port()).deleteQueue(m_events);
}

bool BrokerLimitsTest::arrives(const char *id)
{
    AmqpClient client(m_broker->port());
    return client.publish(set, m_workstation,
                          R"({"body":{"a":1,"_id":")" + QByteArray(id) + "\"}}") &&
           !waitForPage(m_host->port(), QByteArray("/context/") + id).isNull();
}

// The numbered events up to that number, each as it came for the first time.
std::vector<AmqpMessage> BrokerLimitsTest::eventsUntil(int last)
{
    AmqpClient client(m_broker->port());
    client.consume(m_events);
    std::vector<AmqpMessage> events;
    std::set<int> seen;
    while (seen.count(last) == 0) {
        const auto event = client.next(longPatience);
        if (!event)
            break;
        if (seen.insert(numberIn(*event)).second)
            events.push_back(*event);
    }
    return events;
}

// An event has what changed and the whole: of the largest body it is more than a broker takes that
// nobody configured.
void BrokerLimitsTest::largestBodyComesAndItsReplyGoes()
{
    const QByteArray request = requestOf(largestBody);
    QCOMPARE(request.size(), largestBody);
    AmqpClient client(m_broker->port());
    const QByteArray replies = client.declareQueue();
    QVERIFY(client.consume(replies));
    QVERIFY(client.publish(set, m_workstation, request, replies, "big"));
    const auto reply = client.next(longPatience);
    QVERIFY(reply);
    QCOMPARE(reply->correlationId, QByteArray("big"));
    QVERIFY(reply->body.contains(textIn(request)));
    const HttpResponse page = HttpClient(m_host->port()).exchange("GET", "/context/big");
    QVERIFY(page.body.contains(textIn(request)));
    QVERIFY(m_host->waitForLog("Not published to the exchange kavo-context-events: "
                               "PRECONDITION_FAILED - message size"));
    QVERIFY(arrives("afterLargest"));
    QCOMPARE(m_host->log().count("Connected to the broker"), 1);
}

// Together they are more than may wait for a broker that is away; one that is there gets them.
void BrokerLimitsTest::largeBodysEventAndReplyBothGo()
{
    const QByteArray request = requestOf(60 * 1024 * 1024);
    AmqpClient client(m_broker->port());
    AmqpClient events(m_broker->port());
    const QByteArray replies = client.declareQueue();
    QVERIFY(client.consume(replies));
    QVERIFY(events.consume(m_events));
    QVERIFY(client.publish(set, m_workstation, request, replies, "big"));
    for (AmqpClient *waiting : {&client, &events}) {
        const auto message = waiting->next(longPatience);
        QVERIFY(message);
        QVERIFY(message->body.contains(textIn(request)));
    }
    QVERIFY(arrives("afterLarge"));
    QVERIFY2(!m_host->log().contains("dropped"), m_host->log().constData());
}

void BrokerLimitsTest::largerBodyIsRejectedAndHarmsNothing()
{
    AmqpClient client(m_broker->port());
    const QByteArray dead = client.declareQueue();
    QVERIFY(client.declareExchange("dead", "fanout"));
    QVERIFY(client.bind(dead, "dead", ""));
    QVERIFY(client.consume(dead));
    QVERIFY(m_broker->control({QStringLiteral("set_policy"), QStringLiteral("dead"),
                               QStringLiteral("^kavo-context[.]"),
                               QStringLiteral(R"({"dead-letter-exchange":"dead"})")}));
    QVERIFY(client.publish(set, m_workstation, requestOf(largestBody + 1)));
    QVERIFY(client.publish(set, m_workstation, R"({"body":{"_id":"next","a":1}})"));
    QVERIFY(!waitForPage(m_host->port(), "/context/next").isNull());
    QVERIFY(m_host->log().contains("Rejected a message to the exchange kavo-context-rpc-set: "
                                   "67108865 bytes, more than --max-body"));
    QCOMPARE(HttpClient(m_host->port()).exchange("GET", "/context/big").status, 404);
    const auto rejected = client.next(longPatience);
    QVERIFY(rejected);
    QCOMPARE(rejected->body.size(), largestBody + 1);
    QCOMPARE(m_host->log().count("Connected to the broker"), 1);
    QVERIFY(m_broker->control({QStringLiteral("clear_policy"), QStringLiteral("dead")}));
}

void BrokerLimitsTest::burstIsNoLossWhileTheBrokerTakesMessages()
{
    constexpr int burst = 20000;
    QVERIFY(postNumbers(m_host->port(), 0, burst - 1));
    const auto events = eventsUntil(burst - 1);
    QCOMPARE(int(events.size()), burst);
    for (int i = 0; i < burst; ++i)
        QCOMPARE(numberIn(events.at(size_t(i))), i);
    QVERIFY(!m_host->log().contains("dropped"));
}

bool BrokerLimitsTest::startAbsent()
{
    m_broker->kill();
    return waitForBroker(m_host->port(), QStringLiteral("connecting"));
}

void BrokerLimitsTest::oldestOfTooManyChunksAreDropped()
{
    constexpr int room = 10000;
    constexpr int tooMany = 50;
    QVERIFY(startAbsent());
    // What announced the context itself is older than all of these, and goes first.
    QVERIFY(postNumbers(m_host->port(), 0, room + tooMany - 1));
    QCOMPARE(m_host->log().count("the oldest chunks are dropped"), 1);
    QVERIFY(m_broker->start());
    QVERIFY(waitForBroker(m_host->port()));
    const auto events = eventsUntil(room + tooMany - 1);
    QCOMPARE(int(events.size()), room);
    for (int i = 0; i < room; ++i)
        QCOMPARE(numberIn(events.at(size_t(i))), tooMany + i);
    QVERIFY(postNumbers(m_host->port(), room + tooMany, room + tooMany));
    QVERIFY(m_host->waitForLog("Chunks dropped: "));
    QCOMPARE(int(eventsUntil(room + tooMany).size()), 1);
}

void BrokerLimitsTest::oldestOfTooLargeChunksAreDropped()
{
    constexpr qint64 room = 64LL * 1024 * 1024;
    constexpr int chunks = 80;
    constexpr int padding = 1000 * 1000;
    QVERIFY(startAbsent());
    for (int i = 0; i < chunks; i += 20) // a request's body has its limit as well
        QVERIFY(postNumbers(m_host->port(), i, i + 19, padding));
    QCOMPARE(m_host->log().count("the oldest chunks are dropped"), 1);
    QVERIFY(m_broker->start());
    QVERIFY(waitForBroker(m_host->port()));
    const auto events = eventsUntil(chunks - 1);
    QVERIFY(!events.empty());
    qint64 used = 0;
    int number = numberIn(events.front());
    for (const AmqpMessage &event : events) {
        used += roomOf(event);
        QCOMPARE(numberIn(event), number++);
    }
    QCOMPARE(number, chunks);
    QVERIFY2(used <= room && used + roomOf(events.back()) > room,
             QByteArray::number(used).constData());
}

// Until the heartbeats are missed it counts as connected; nothing is lost either way.
void BrokerLimitsTest::pausedBrokerGetsEverythingLater()
{
    constexpr int chunks = 500;
    constexpr int padding = 40 * 1000; // more than may be under way, and more than 1/4 of the room
    m_broker->suspend();
    const bool isPosted = postNumbers(m_host->port(), 0, chunks - 1, padding);
    const int status = HttpClient(m_host->port()).exchange("GET", "/context/n").status;
    m_broker->resume();
    QVERIFY(isPosted);
    QCOMPARE(status, 200);
    const auto events = eventsUntil(chunks - 1);
    QCOMPARE(int(events.size()), chunks);
    for (int i = 0; i < chunks; ++i)
        QCOMPARE(numberIn(events.at(size_t(i))), i);
    QVERIFY(!m_host->log().contains("dropped"));
}

void BrokerLimitsTest::fullQueueHoldsChunksBackUntilThereIsRoom()
{
    constexpr int room = 3;
    constexpr int chunks = 20;
    AmqpClient client(m_broker->port());
    QVERIFY(client.declareNarrowQueue("narrow", room));
    QVERIFY(client.bind("narrow", "kavo-context-events", m_workstation + ".#"));
    QVERIFY(postNumbers(m_host->port(), 0, chunks - 1));
    QVERIFY(m_host->waitForLog("The broker does not take a message (a full queue?)"));
    QCOMPARE(HttpClient(m_host->port()).exchange("GET", "/context/n").status, 200);
    QCOMPARE(brokerState(m_host->port()), QStringLiteral("connected"));
    QVERIFY(client.consume("narrow"));
    std::set<int> numbers; // what was under way with a refused one may have come before it
    while (int(numbers.size()) < chunks) {
        const auto event = client.next();
        QVERIFY(event);
        numbers.insert(numberIn(*event));
    }
    QCOMPARE(*numbers.begin(), 0);
    QCOMPARE(*numbers.rbegin(), chunks - 1);
    QVERIFY(client.deleteQueue("narrow"));
    QVERIFY(arrives("afterFull"));
    QCOMPARE(m_host->log().count("Connected to the broker"), 1);
}

void BrokerLimitsTest::endWaitsTwoSecondsForAPausedBroker()
{
    constexpr int chunks = 100;
    m_broker->suspend();
    const bool isPosted = postNumbers(m_host->port(), 0, chunks - 1);
    QElapsedTimer clock;
    clock.start();
    m_host->terminate();
    const bool isOver = m_host->waitForFinished();
    const qint64 took = clock.elapsed();
    m_broker->resume();
    QVERIFY(isPosted);
    QVERIFY(isOver);
    QCOMPARE(m_host->exitCode(), 0);
    QVERIFY2(took >= 2000, QByteArray::number(took).constData());
    QVERIFY2(m_host->log().contains("Chunks that the broker did not confirm before the end: "),
             m_host->log().constData());
}

void BrokerLimitsTest::endTellsWhatAnAbsentBrokerDidNotGet()
{
    constexpr int chunks = 100;
    QVERIFY(postNumbers(m_host->port(), 0, 0));
    QCOMPARE(int(eventsUntil(0).size()), 1);
    QVERIFY(startAbsent());
    QVERIFY(postNumbers(m_host->port(), 1, chunks));
    m_host->terminate();
    QVERIFY(m_host->waitForFinished());
    QCOMPARE(m_host->exitCode(), 0);
    QVERIFY2(m_host->log().contains("Chunks that the broker did not confirm before the end: "),
             m_host->log().constData());
    QVERIFY(m_broker->start());
}

QTEST_GUILESS_MAIN(BrokerLimitsTest)
#include "tst_broker_limits.moc"
