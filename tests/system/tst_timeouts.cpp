#include "support/deadline.h"
#include "support/eventstream.h"
#include "support/healthcounts.h"
#include "support/hostprocess.h"
#include "support/httpclient.h"

#include <QtCore/QElapsedTimer>
#include <QtTest/QTest>

using namespace support;

namespace {

constexpr qint64 headerTime = 10000;
constexpr qint64 progressTime = 30000;
constexpr qint64 idleTime = 75000;
constexpr qint64 heartbeatTime = 15000;

// How much later than it says the host may act, on a busy machine.
constexpr qint64 slack = 15000;

} // namespace

/// The host's real time-outs. All clients start together and are watched side by side, so that the
/// whole costs no more than the longest time-out.
class TimeoutsTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void everyTimeoutHolds();

private:
    /// Waits until a moment of the test; real time is what is tested here.
    void waitFor(qint64 moment) { QTest::qWait(int(qMax<qint64>(0, moment - m_clock.elapsed()))); }

    /// Reads what the host says last to a client that it gives up at the moment: 408, or nothing.
    void verifyGivenUp(HttpClient *client, qint64 moment);

    QElapsedTimer m_clock;
};

void TimeoutsTest::verifyGivenUp(HttpClient *client, qint64 moment)
{
    QVERIFY(!client->hasInput() || m_clock.elapsed() >= moment);
    const QByteArray last = client->readToEnd();
    const qint64 now = m_clock.elapsed();
    QVERIFY2(!last.isNull(), "The connection did not end in good order");
    QVERIFY2(last.isEmpty() || last.startsWith("HTTP/1.1 408 "), last.constData());
    QVERIFY2(now >= moment, qPrintable(QString::number(now)));
    QVERIFY2(now < moment + slack, qPrintable(QString::number(now)));
}

void TimeoutsTest::everyTimeoutHolds()
{
    HostProcess host;
    QVERIFY(host.start());
    const quint16 port = host.port();
    const QByteArray uploadHead =
        "PUT /context/slow HTTP/1.1\r\nHost: localhost\r\nContent-Length: 7\r\n\r\n";

    // More than the systems' own buffers take, so that its reader's silence is felt.
    const QByteArray large = "{\"text\":\"" + QByteArray(30 * 1000 * 1000, 'x') + "\"}";
    QCOMPARE(HttpClient(port).exchange("PUT", "/context/large", {}, large).status, 201);
    HttpClient notReading(port);
    notReading.send(requestBytes("GET", "/context/large"));

    HttpClient poll(port);
    poll.send(requestBytes("GET", "/context/patient/event"));
    EventStream stream(port, "?only=delivered");
    m_clock.start();
    HttpClient silent(port);
    HttpClient halfHead(port);
    halfHead.send("GET /health HTTP/1.1\r\nHost: loc");
    HttpClient dripping(port);
    HttpClient stuckBody(port);
    stuckBody.send(uploadHead + "{\"a");
    HttpClient stuckChunk(port);
    stuckChunk.send(requestBytes("PUT", "/context/slow", {{"Transfer-Encoding", "chunked"}}) +
                    "7\r\n{\"a");
    HttpClient slowBody(port);
    slowBody.send(uploadHead + "{\"a");
    HttpClient idle(port);
    QCOMPARE(idle.exchange("GET", "/health").status, 200);
    HttpClient returning(port);
    QCOMPARE(returning.exchange("GET", "/health").status, 200);

    // A byte now and then does not lengthen the time for a head.
    const QByteArray head = requestBytes("GET", "/health", {{"X", QByteArray(100, 'x')}});
    for (int i = 0; i < 19; ++i) {
        waitFor(i * headerTime / 20);
        QVERIFY(dripping.send(head.mid(i, 1)));
    }
    for (HttpClient *client : {&silent, &halfHead, &dripping})
        verifyGivenUp(client, headerTime);

    // In a body it does: each piece starts the time anew.
    waitFor(progressTime * 2 / 3);
    slowBody.send("\":");
    for (HttpClient *client : {&stuckBody, &stuckChunk})
        verifyGivenUp(client, progressTime);
    waitFor(progressTime * 4 / 3);
    slowBody.send("1}");
    QCOMPARE(slowBody.readResponse().status, 201);

    // A connection that is used again is not idle.
    waitFor(idleTime * 2 / 3);
    QCOMPARE(returning.exchange("GET", "/health").status, 200);
    verifyGivenUp(&idle, idleTime);
    QCOMPARE(returning.exchange("GET", "/health").status, 200);

    // An answer that nobody takes is given up like a body that does not come.
    QCOMPARE(notReading.readResponse().status, 0);

    // Waiting for the module has no limit, and a quiet stream is kept alive.
    QVERIFY(!poll.hasInput());
    QCOMPARE(returning.exchange("PUT", "/context/patient", {}, "{\"a\":1}").status, 201);
    QCOMPARE(poll.readResponse().status, 200);
    for (qint64 i = 0; i < idleTime / heartbeatTime - 1; ++i)
        QVERIFY(stream.nextBlock().startsWith(':'));
}

QTEST_GUILESS_MAIN(TimeoutsTest)
#include "tst_timeouts.moc"
