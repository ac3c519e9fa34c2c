#include "support/hostprocess.h"
#include "support/httpclient.h"

#include <QtCore/QProcess>
#include <QtTest/QTest>

#include <vector>

using namespace support;

/// Clients that ask for more than is there: of time, of descriptors, of memory.
class OverloadTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void aClientThatSendsAheadLeavesTheOthersTheirTurn();
    void aLongListOfChunksLeavesTheOthersTheirTurn();
    void everyRequestSentAheadIsAnsweredInItsTurn();
    void requestsBehindALargeAnswerAreServedAfterAHalfClose();
    void aContextTooLargeToPrintIsAnswered500();
#ifdef Q_OS_UNIX
    void clientsDoNotTakeTheLastDescriptors();
#endif
};

void OverloadTest::aClientThatSendsAheadLeavesTheOthersTheirTurn()
{
    HostProcess host;
    QVERIFY(host.start());
    HttpClient ahead(host.port());
    // One context is created each second, so these keep the host busy for nine.
    constexpr int sentAhead = 10;
    QVERIFY(ahead.send(requestBytes("POST", "/context", {}, "{}").repeated(sentAhead)));
    QCOMPARE(ahead.readResponse().status, 200);
    HttpClient other(host.port());
    QCOMPARE(other.exchange("GET", "/health").status, 200);
    other.close();
    host.terminate();
    QVERIFY(host.waitForFinished());
    QCOMPARE(host.exitCode(), 0);
    int answered = 1;
    while (ahead.readResponse().status == 200)
        ++answered;
    QVERIFY2(answered < sentAhead, "The other client and the signal had to wait for all of them");
}

void OverloadTest::aLongListOfChunksLeavesTheOthersTheirTurn()
{
    HostProcess host;
    QVERIFY(host.start());
    // Each takes the host until the next second begins.
    QByteArray list = "[";
    for (int i = 0; i < 8; ++i)
        list += R"({"exchange":"kavo-context-rpc-create","body":{}},)";
    list.back() = ']';
    HttpClient sender(host.port());
    QVERIFY(sender.send(requestBytes("POST", "/exchange/chunks", {}, list)));
    HttpClient other(host.port());
    QCOMPARE(other.exchange("GET", "/health").status, 200);
    QVERIFY2(!sender.hasInput(), "The other client had to wait for the whole list");
    QCOMPARE(sender.readResponse().json().value(QStringLiteral("delivered")).toInt(), 8);
}

void OverloadTest::everyRequestSentAheadIsAnsweredInItsTurn()
{
    HostProcess host;
    QVERIFY(host.start());
    HttpClient client(host.port());
    constexpr int sentAhead = 3000;
    QByteArray requests;
    for (int i = 0; i < sentAhead; ++i)
        requests += requestBytes("PUT", "/context/c", {}, "{\"n\":" + QByteArray::number(i) + "}");
    QVERIFY(client.send(requests));
    for (int i = 0; i < sentAhead; ++i)
        QCOMPARE(client.readResponse().json().value(QStringLiteral("n")).toInt(-1), i);
}

void OverloadTest::requestsBehindALargeAnswerAreServedAfterAHalfClose()
{
    HostProcess host;
    QVERIFY(host.start());
    HttpClient client(host.port());
    const QByteArray large = "{\"text\":\"" + QByteArray(30 * 1024 * 1024, 'x') + "\"}";
    QCOMPARE(client.exchange("PUT", "/context/large", {}, large).status, 201);
    QVERIFY(client.send(requestBytes("GET", "/context/large") + requestBytes("GET", "/health")));
    client.endSending();
    QVERIFY(client.readResponse().body.size() > large.size());
    QVERIFY(client.readResponse().body.contains("\"status\""));
    QVERIFY(client.endsHere());
}

void OverloadTest::aContextTooLargeToPrintIsAnswered500()
{
    HostProcess host;
    QVERIFY(host.start());
    // A megabyte whose every element is indented by four thousand blanks.
    constexpr int depth = 1021;
    constexpr int elements = 540000;
    const QByteArray deep = "{\"a\":" + QByteArray(depth, '[') +
                            QByteArray("0,").repeated(elements) + '0' + QByteArray(depth, ']') +
                            '}';
    HttpClient client(host.port());
    QCOMPARE(client.exchange("PUT", "/context/deep", {}, deep).status, 500);
    QCOMPARE(client.exchange("GET", "/context/deep/event").status, 500);
    QCOMPARE(client.exchange("GET", "/health").status, 200);
}

#ifdef Q_OS_UNIX
void OverloadTest::clientsDoNotTakeTheLastDescriptors()
{
    QProcess host;
    host.start(QStringLiteral("/bin/sh"),
               {QStringLiteral("-c"), QStringLiteral("ulimit -n 40; exec \"$0\" \"$@\""),
                HostProcess::program(), QStringLiteral("--listen"), QStringLiteral("127.0.0.1:0"),
                QStringLiteral("--plugin"), HostSetup::pluginFile()});
    QTRY_VERIFY_WITH_TIMEOUT(host.canReadLine(), 30000);
    const QByteArray ready = host.readLine().trimmed();
    const auto port = quint16(ready.mid(ready.lastIndexOf(':') + 1).toInt());
    {
        std::vector<HttpClient> clients;
        constexpr int tooMany = 60;
        for (int i = 0; i < tooMany; ++i)
            clients.emplace_back(port);
        QVERIFY(clients.back().breaks());
        const HttpResponse health = clients.front().exchange("GET", "/health");
        QCOMPARE(health.status, 200);
        const QJsonObject http = health.json().value(QStringLiteral("http")).toObject();
        QCOMPARE(http.value(QStringLiteral("connections")).toInt(), 20);
    }
    QTRY_COMPARE(HttpClient(port).exchange("GET", "/health").status, 200);
    host.terminate();
    QVERIFY(host.waitForFinished());
    QCOMPARE(host.exitCode(), 0);
    const QByteArray log = host.readAllStandardError();
    QCOMPARE(log.count("leaves room for 20 connections instead of 16384"), 1);
    QCOMPARE(log.count("Too many connections"), 1);
}
#endif

QTEST_GUILESS_MAIN(OverloadTest)
#include "tst_overload.moc"
