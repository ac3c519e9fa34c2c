#include "support/eventstream.h"
#include "support/healthcounts.h"
#include "support/hostprocess.h"
#include "support/httpclient.h"

#include <QtCore/QElapsedTimer>
#include <QtTest/QTest>

#include <vector>

using namespace support;

namespace {

// More than the systems' own buffers take, so that a part of it waits in the host.
constexpr int largeSize = 30 * 1000 * 1000;

// How long the host lets answers leave before it ends, in milliseconds; and what it needs at the
// most for all of its end, on a busy machine: less than any of its time-outs for slow clients.
constexpr qint64 farewellTime = 1000;
constexpr qint64 enoughTime = 20000;

} // namespace

/// How the program ends: what becomes of its clients, and that none of them holds it up.
class ShutdownTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void waitingRequestsAreAnswered503_data();
    void waitingRequestsAreAnswered503();
    void idleConnectionsEnd();
    void requestsBehindAWaitingOneAreNotServed();
    void uploadInProgressEnds();

    void answerOnItsWayIsFinishedForOneWhoReads();
    void answerOnItsWayHoldsNothingUpForOneWhoDoesNot();
    void refusedClientThatStaysHoldsNothingUp_data();
    void refusedClientThatStaysHoldsNothingUp();

private:
    /// Stores a large context; what its GET will answer.
    static QByteArray storedLarge(HttpClient *client);
};

QByteArray ShutdownTest::storedLarge(HttpClient *client)
{
    client->setPatience(4 * patience);
    const QByteArray json = "{\"text\":\"" + QByteArray(largeSize, 'x') + "\"}";
    return client->exchange("PUT", "/context/large", {}, json).body;
}

void ShutdownTest::waitingRequestsAreAnswered503_data()
{
    QTest::addColumn<bool>("isInterrupt");
    QTest::newRow("SIGTERM") << false;
    QTest::newRow("SIGINT") << true;
}

void ShutdownTest::waitingRequestsAreAnswered503()
{
    QFETCH(bool, isInterrupt);
    HostProcess host;
    QVERIFY(host.start());
    HttpClient client(host.port());
    const HealthCounts before = healthCounts(client);
    const QByteArray requests[] = {
        requestBytes("GET", "/context/x/event"), requestBytes("GET", "/message/event"),
        requestBytes("DELETE", "/context/x/event"),
        requestBytes("POST", "/context/x/$form", {}, "{}"),
        requestBytes("GET", "/context/x/event", {{"Prefer", "wait=$.patient"}})};
    constexpr int ofEach = 20;
    std::vector<HttpClient> waiting;
    for (int i = 0; i < ofEach; ++i) {
        for (const QByteArray &request : requests) {
            waiting.emplace_back(host.port());
            QVERIFY(waiting.back().send(request));
        }
    }
    EventStream stream(host.port());
    QVERIFY(waitForCounts(client, before.plus(int(waiting.size()) + 1)));

    isInterrupt ? host.interrupt() : host.terminate();
    for (HttpClient &each : waiting) {
        const HttpResponse response = each.readResponse();
        QCOMPARE(response.status, 503);
        QCOMPARE(response.field("Retry-After"), QByteArray("1"));
        QCOMPARE(response.field("Connection"), QByteArray("close"));
        QVERIFY(each.endsHere());
    }
    QCOMPARE(stream.client().readChunk(), QByteArray(""));
    QVERIFY(stream.client().endsHere());
    QVERIFY(host.waitForFinished());
    QCOMPARE(host.exitCode(), 0);
    QVERIFY(!HttpClient(host.port()).isConnected());
}

void ShutdownTest::idleConnectionsEnd()
{
    HostProcess host;
    QVERIFY(host.start());
    HttpClient client(host.port());
    QCOMPARE(client.exchange("GET", "/health").status, 200);
    HttpClient silent(host.port());
    host.terminate();
    QVERIFY(client.endsHere());
    QVERIFY(silent.breaks());
    QVERIFY(host.waitForFinished());
    QCOMPARE(host.exitCode(), 0);
}

void ShutdownTest::requestsBehindAWaitingOneAreNotServed()
{
    HostProcess host;
    QVERIFY(host.start());
    HttpClient client(host.port());
    const HealthCounts before = healthCounts(client);
    HttpClient waiting(host.port());
    waiting.send(requestBytes("GET", "/context/x/event") + requestBytes("GET", "/health"));
    QVERIFY(waitForCounts(client, before.plus(1)));
    host.terminate();
    QCOMPARE(waiting.readResponse().status, 503);
    QVERIFY(waiting.endsHere());
}

void ShutdownTest::uploadInProgressEnds()
{
    HostProcess host;
    QVERIFY(host.start());
    HttpClient client(host.port());
    client.send("PUT /context/x HTTP/1.1\r\nHost: localhost\r\nExpect: 100-continue\r\n"
                "Content-Length: 1000\r\n\r\n");
    QCOMPARE(client.readResponse().status, 100);
    client.send("{");
    host.terminate();
    QVERIFY(client.breaks());
    QVERIFY(host.waitForFinished());
    QCOMPARE(host.exitCode(), 0);
}

void ShutdownTest::answerOnItsWayIsFinishedForOneWhoReads()
{
    HostProcess host;
    QVERIFY(host.start());
    HttpClient client(host.port());
    const QByteArray large = storedLarge(&client);
    client.send(requestBytes("GET", "/context/large") + requestBytes("GET", "/health"));
    QCOMPARE(client.readHead().field("Content-Length").toInt(), large.size());
    QElapsedTimer clock;
    clock.start();
    host.terminate();
    const QByteArray body = client.readBytes(large.size());
    // Cut short only when its time was over, on a very busy machine.
    QVERIFY2(body == large || (body.isNull() && clock.elapsed() >= farewellTime),
             QByteArray::number(clock.elapsed()).constData());
    if (!body.isNull())
        QVERIFY(client.endsHere()); // the request behind it is not served any more
    client.close();
    QVERIFY(host.waitForFinished());
    QCOMPARE(host.exitCode(), 0);
}

void ShutdownTest::answerOnItsWayHoldsNothingUpForOneWhoDoesNot()
{
    HostProcess host;
    QVERIFY(host.start());
    HttpClient client(host.port());
    const QByteArray large = storedLarge(&client);
    client.send(requestBytes("GET", "/context/large") + requestBytes("GET", "/health"));
    QCOMPARE(client.readHead().field("Content-Length").toInt(), large.size());
    QElapsedTimer clock;
    clock.start();
    host.terminate();
    QVERIFY(host.waitForFinished());
    QCOMPARE(host.exitCode(), 0);
    QVERIFY(clock.elapsed() < enoughTime);
    // What the systems had taken arrives, no byte of anything else, and less than was announced.
    const QByteArray body = client.readToEnd();
    QVERIFY(body.size() < large.size());
    QVERIFY(large.startsWith(body));
}

void ShutdownTest::refusedClientThatStaysHoldsNothingUp_data()
{
    QTest::addColumn<QByteArray>("later");
    QTest::newRow("silently") << QByteArray();
    QTest::newRow("and sends") << requestBytes("GET", "/health");
}

void ShutdownTest::refusedClientThatStaysHoldsNothingUp()
{
    QFETCH(QByteArray, later);
    HostProcess host;
    QVERIFY(host.start());
    HttpClient client(host.port());
    client.send("GET /health\r\n\r\n");
    QCOMPARE(client.readResponse().status, 400);
    QVERIFY(client.endsHere());
    // The host now waits two seconds for the client to close.
    if (!later.isEmpty())
        client.send(later);
    QElapsedTimer clock;
    clock.start();
    host.terminate();
    QVERIFY(host.waitForFinished());
    QCOMPARE(host.exitCode(), 0);
    QVERIFY(clock.elapsed() < enoughTime);
    QVERIFY(!client.hasInput());
}

QTEST_GUILESS_MAIN(ShutdownTest)
#include "tst_shutdown.moc"
