#include "support/eventstream.h"
#include "support/healthcounts.h"
#include "support/hostprocess.h"
#include "support/httpclient.h"

#include <QtCore/QElapsedTimer>
#include <QtTest/QTest>

#include <future>
#include <map>
#include <thread>

using namespace support;
using namespace std::chrono_literals;

namespace {

constexpr std::chrono::milliseconds headerTime = 10s;
constexpr std::chrono::milliseconds progressTime = 30s;
constexpr std::chrono::milliseconds idleTime = 75s;
constexpr std::chrono::milliseconds heartbeatTime = 15s;

// How much later than it says the host may act, on a busy machine; and how much earlier its clock,
// which counts whole milliseconds as the tests' does, may seem to.
constexpr std::chrono::milliseconds slack = 15s;
constexpr std::chrono::milliseconds clockStep = 20ms;

/// What became of a client.
struct Outcome
{
    HttpResponse response; ///< the last one; without a status when there was none
    bool endedInOrder = false;
    std::chrono::milliseconds time{0}; ///< from the last time that the host heard of it to the end
    bool wentAsPlanned = true;         ///< before that
};

using Story = Outcome (*)(quint16 port);

void sleep(std::chrono::milliseconds time)
{
    std::this_thread::sleep_for(time); // real time is what is tested here
}

QByteArray uploadHead()
{
    return "PUT /context/slow HTTP/1.1\r\nHost: localhost\r\nContent-Length: 7\r\n\r\n";
}

// More than the systems' own buffers take, so that its reader's silence is felt.
constexpr int largeSize = 30 * 1000 * 1000;

bool storeLarge(quint16 port)
{
    HttpClient client(port);
    client.setPatience(4 * patience);
    const QByteArray json = "{\"text\":\"" + QByteArray(largeSize, 'x') + "\"}";
    return client.exchange("PUT", "/context/large", {}, json).status == 201;
}

Outcome readOutcome(HttpClient *client, const QElapsedTimer &clock)
{
    client->setPatience(idleTime + 2 * slack);
    Outcome outcome;
    outcome.response = client->readResponse();
    outcome.endedInOrder = client->endsHere();
    outcome.time = std::chrono::milliseconds(clock.elapsed());
    return outcome;
}

// Sends the bytes to a fresh connection, and then no more.
Outcome sendingNoMoreThan(const QByteArray &bytes, quint16 port)
{
    QElapsedTimer clock;
    clock.start();
    HttpClient client(port);
    if (!bytes.isEmpty())
        client.send(bytes);
    return readOutcome(&client, clock);
}

Outcome silence(quint16 port)
{
    return sendingNoMoreThan({}, port);
}

Outcome halfAHead(quint16 port)
{
    return sendingNoMoreThan("GET /health HTTP/1.1\r\nHost: loc", port);
}

Outcome halfABody(quint16 port)
{
    return sendingNoMoreThan(uploadHead() + "{\"a", port);
}

Outcome halfAChunk(quint16 port)
{
    return sendingNoMoreThan(
        requestBytes("PUT", "/context/slow", {{"Transfer-Encoding", "chunked"}}) + "7\r\n{\"a",
        port);
}

Outcome halfAHeadAfterARequest(quint16 port)
{
    HttpClient client(port);
    const bool isServed = client.exchange("GET", "/health").status == 200;
    sleep(headerTime + 2s);
    QElapsedTimer clock;
    clock.start();
    client.send("GET /health HTTP/1.1\r\nHost: loc");
    Outcome outcome = readOutcome(&client, clock);
    outcome.wentAsPlanned = isServed;
    return outcome;
}

// A byte now and then, for as long as it takes. If it lengthened the time there would be no answer.
Outcome drippingHead(quint16 port)
{
    QElapsedTimer clock;
    clock.start();
    HttpClient client(port);
    client.setPatience(slack);
    const QByteArray head = requestBytes("GET", "/health", {{"X", QByteArray(100, 'x')}});
    bool isTaken = true;
    for (int i = 0; i < head.size() - 1 && isTaken && !client.hasInput(); ++i) {
        isTaken = client.send(head.mid(i, 1));
        sleep(headerTime / 20);
    }
    return readOutcome(&client, clock);
}

// Much more than the time for a pause, with pauses that are shorter.
Outcome slowBody(quint16 port)
{
    HttpClient client(port);
    client.send(uploadHead());
    for (const char *piece : {"{\"a", "\":", "1", "}"}) {
        sleep(progressTime * 2 / 5);
        client.send(piece);
    }
    Outcome outcome;
    outcome.response = client.readResponse();
    return outcome;
}

Outcome idleConnection(quint16 port)
{
    HttpClient client(port);
    QElapsedTimer clock;
    clock.start();
    const bool isServed = client.exchange("GET", "/health").status == 200;
    Outcome outcome = readOutcome(&client, clock);
    outcome.wentAsPlanned = isServed;
    return outcome;
}

// A connection that is used again is not idle.
Outcome returningClient(quint16 port)
{
    HttpClient client(port);
    Outcome outcome;
    for (int i = 0; i < 2; ++i) {
        outcome.wentAsPlanned =
            client.exchange("GET", "/health").status == 200 && outcome.wentAsPlanned;
        sleep(idleTime / 2 + 500ms);
    }
    outcome.response = client.exchange("GET", "/health");
    return outcome;
}

Outcome waitingPoll(quint16 port)
{
    HttpClient poll(port);
    poll.send(requestBytes("GET", "/context/patient/event"));
    sleep(idleTime + 1s);
    Outcome outcome;
    outcome.wentAsPlanned =
        !poll.hasInput() &&
        HttpClient(port).exchange("PUT", "/context/patient", {}, "{\"a\":1}").status == 201;
    outcome.response = poll.readResponse();
    return outcome;
}

Outcome quietStream(quint16 port)
{
    QElapsedTimer clock;
    clock.start();
    EventStream stream(port, "?only=delivered");
    stream.client().setPatience(heartbeatTime + slack);
    Outcome outcome;
    for (int i = 0; i < idleTime / heartbeatTime; ++i)
        outcome.wentAsPlanned = stream.nextBlock().startsWith(':') && outcome.wentAsPlanned;
    outcome.time = std::chrono::milliseconds(clock.elapsed());
    return outcome;
}

// Alone with the host, which counts its connections.
Outcome lazyReader(quint16 port)
{
    HttpClient watching(port);
    const auto waitForConnections = [&watching](int count) {
        return waitUntil([&] { return healthCounts(watching).connections == count; });
    };
    Outcome outcome;
    outcome.wentAsPlanned = waitForConnections(1);
    HttpClient lazy(port);
    QElapsedTimer clock;
    clock.start();
    lazy.send(requestBytes("GET", "/context/large"));
    outcome.wentAsPlanned = waitForConnections(2) && outcome.wentAsPlanned;
    while (healthCounts(watching).connections != 1 && clock.elapsed() < 2 * progressTime / 1ms)
        sleep(200ms);
    outcome.time = std::chrono::milliseconds(clock.elapsed());
    outcome.response = lazy.readHead();
    outcome.response.body = lazy.readToEnd();
    return outcome;
}

// Pauses that are shorter than the time for one, and together longer.
Outcome slowReader(quint16 port)
{
    HttpClient client(port);
    Outcome outcome;
    client.send(requestBytes("GET", "/context/large"));
    outcome.response = client.readHead();
    const int size = outcome.response.field("Content-Length").toInt();
    for (int i = 0; i < 4; ++i) {
        sleep(progressTime * 2 / 5);
        outcome.response.body += client.readBytes(size / 5);
    }
    outcome.response.body += client.readBytes(size - 4 * (size / 5));
    return outcome;
}

} // namespace

/// The host's real time-outs. All clients start together, each on a thread of its own, so that the
/// whole costs no more than the longest time-out.
class TimeoutsTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void cleanupTestCase();

    void requestThatDoesNotArriveIs408_data();
    void requestThatDoesNotArriveIs408();
    void connectionWithoutARequestIsClosedWithoutAnAnswer_data();
    void connectionWithoutARequestIsClosedWithoutAnAnswer();
    void bodyInPiecesIsServed();
    void connectionThatIsUsedAgainIsNotIdle();
    void waitingForTheModuleHasNoLimit();
    void quietStreamIsKeptAlive();
    void answerThatNobodyTakesIsGivenUp();
    void answerThatIsTakenSlowlyIsNot();

private:
    void start(const char *name, Story story, const HostProcess &host)
    {
        m_outcomes[name] = std::async(std::launch::async, story, host.port());
    }

    static void verifyTime(const Outcome &outcome, std::chrono::milliseconds limit);

    std::unique_ptr<HostProcess> m_host;
    std::unique_ptr<HostProcess> m_lazyReadersHost;
    std::map<QByteArray, std::future<Outcome>> m_outcomes;
};

void TimeoutsTest::initTestCase()
{
    m_host = std::make_unique<HostProcess>();
    m_lazyReadersHost = std::make_unique<HostProcess>();
    QVERIFY(m_host->start());
    QVERIFY(m_lazyReadersHost->start());
    QVERIFY(storeLarge(m_host->port()));
    QVERIFY(storeLarge(m_lazyReadersHost->port()));
    start("lazy reader", lazyReader, *m_lazyReadersHost);
    start("slow reader", slowReader, *m_host);
    start("poll", waitingPoll, *m_host);
    start("stream", quietStream, *m_host);
    start("silence", silence, *m_host);
    start("half a head", halfAHead, *m_host);
    start("half a head after a request", halfAHeadAfterARequest, *m_host);
    start("dripping head", drippingHead, *m_host);
    start("half a body", halfABody, *m_host);
    start("half a chunk", halfAChunk, *m_host);
    start("slow body", slowBody, *m_host);
    start("idle", idleConnection, *m_host);
    start("returning", returningClient, *m_host);
}

void TimeoutsTest::cleanupTestCase()
{
    m_outcomes.clear(); // waits for those that nobody has asked for
    m_host.reset();
    m_lazyReadersHost.reset();
}

void TimeoutsTest::verifyTime(const Outcome &outcome, std::chrono::milliseconds limit)
{
    const QByteArray taken = QByteArray::number(qint64(outcome.time.count())) + " ms";
    QVERIFY2(outcome.time >= limit - clockStep, taken.constData());
    QVERIFY2(outcome.time < limit + slack, taken.constData());
}

void TimeoutsTest::requestThatDoesNotArriveIs408_data()
{
    QTest::addColumn<int>("seconds");
    QTest::newRow("half a head") << 10;
    QTest::newRow("half a head after a request") << 10;
    QTest::newRow("dripping head") << 10;
    QTest::newRow("half a body") << 30;
    QTest::newRow("half a chunk") << 30;
}

void TimeoutsTest::requestThatDoesNotArriveIs408()
{
    QFETCH(int, seconds);
    const Outcome outcome = m_outcomes.at(QTest::currentDataTag()).get();
    QVERIFY(outcome.wentAsPlanned);
    QVERIFY2(outcome.response.status != 0, qPrintable(outcome.response.fault));
    QCOMPARE(outcome.response.statusLine, QByteArray("HTTP/1.1 408 Request Timeout"));
    QCOMPARE(outcome.response.field("Connection"), QByteArray("close"));
    QCOMPARE(outcome.response.field("Content-Type"), QByteArray("text/plain"));
    QCOMPARE(outcome.response.body, QByteArray("The request took too long to arrive.\n"));
    QVERIFY(outcome.endedInOrder);
    verifyTime(outcome, std::chrono::seconds(seconds));
}

void TimeoutsTest::connectionWithoutARequestIsClosedWithoutAnAnswer_data()
{
    QTest::addColumn<int>("seconds");
    QTest::newRow("silence") << 10;
    QTest::newRow("idle") << 75;
}

void TimeoutsTest::connectionWithoutARequestIsClosedWithoutAnAnswer()
{
    QFETCH(int, seconds);
    const Outcome outcome = m_outcomes.at(QTest::currentDataTag()).get();
    QVERIFY(outcome.wentAsPlanned);
    QCOMPARE(outcome.response.statusLine, QByteArray());
    QVERIFY(outcome.endedInOrder);
    verifyTime(outcome, std::chrono::seconds(seconds));
}

void TimeoutsTest::bodyInPiecesIsServed()
{
    QCOMPARE(m_outcomes.at("slow body").get().response.status, 201);
}

void TimeoutsTest::connectionThatIsUsedAgainIsNotIdle()
{
    const Outcome outcome = m_outcomes.at("returning").get();
    QVERIFY(outcome.wentAsPlanned);
    QCOMPARE(outcome.response.status, 200);
}

void TimeoutsTest::waitingForTheModuleHasNoLimit()
{
    const Outcome outcome = m_outcomes.at("poll").get();
    QVERIFY(outcome.wentAsPlanned);
    QCOMPARE(outcome.response.status, 200);
}

void TimeoutsTest::quietStreamIsKeptAlive()
{
    const Outcome outcome = m_outcomes.at("stream").get();
    QVERIFY(outcome.wentAsPlanned);
    // No more comments than said: Qt keeps long intervals to a second or so.
    QVERIFY(outcome.time > idleTime - heartbeatTime);
}

void TimeoutsTest::answerThatNobodyTakesIsGivenUp()
{
    const Outcome outcome = m_outcomes.at("lazy reader").get();
    QVERIFY(outcome.wentAsPlanned);
    verifyTime(outcome, progressTime);
    // What the systems had taken before still arrives.
    QCOMPARE(outcome.response.status, 200);
    QVERIFY(outcome.response.body.size() < outcome.response.field("Content-Length").toInt());
}

void TimeoutsTest::answerThatIsTakenSlowlyIsNot()
{
    const Outcome outcome = m_outcomes.at("slow reader").get();
    QVERIFY(outcome.wentAsPlanned);
    QCOMPARE(outcome.response.status, 200);
    QVERIFY(outcome.response.body.size() > largeSize);
    QVERIFY(outcome.response.json().contains(QLatin1String("text")));
}

QTEST_GUILESS_MAIN(TimeoutsTest)
#include "tst_timeouts.moc"
