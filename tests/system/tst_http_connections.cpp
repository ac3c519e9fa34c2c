#include "support/healthcounts.h"
#include "support/hostprocess.h"
#include "support/httpclient.h"

#include <QtTest/QTest>

using namespace support;

/// How requests and their answers follow each other on a connection, and when it ends.
class HttpConnectionsTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init() { QVERIFY(waitForCounts(*m_client, m_alone)); }
    void cleanupTestCase() { m_host.reset(); }

    void keptAliveConnectionServesManyRequests();
    void pipelinedRequestsAreAnsweredInOrder();
    void requestsBehindAWaitingPollAreAnsweredAfterIt();
    void moreThanIsReadAheadBehindAWaitingPollIsAnswered();
    void requestArrivingByteByByteIsServed();
    void emptyLineBeforeARequestIsSkipped();
    void requestOfAClientThatStopsSendingIsAnswered();
    void connectionCloseIsObeyed_data();
    void connectionCloseIsObeyed();
    void http10ConnectionClosesAfterTheAnswer();
    void http10WithKeepAliveStaysOpen();
    void http10StreamEndsWithTheConnection();

private:
    HttpClient connected() const { return HttpClient(m_host->port()); }

    std::unique_ptr<HostProcess> m_host;
    std::unique_ptr<HttpClient> m_client;
    HealthCounts m_alone; ///< while there is no other client than `m_client`
};

void HttpConnectionsTest::initTestCase()
{
    m_host = std::make_unique<HostProcess>();
    QVERIFY(m_host->start());
    m_client = std::make_unique<HttpClient>(m_host->port());
    m_alone = healthCounts(*m_client);
    QCOMPARE(m_alone.connections, 1);
}

void HttpConnectionsTest::keptAliveConnectionServesManyRequests()
{
    HttpClient client = connected();
    for (int i = 0; i < 50; ++i) {
        const QByteArray body = "{\"n\":" + QByteArray::number(i) + '}';
        const HttpResponse response = client.exchange("PUT", "/context/kept", {}, body);
        QCOMPARE(response.status, i == 0 ? 201 : 200);
        QCOMPARE(response.count("Connection"), 0);
        QCOMPARE(response.json().value(QLatin1String("n")).toInt(), i);
    }
}

void HttpConnectionsTest::pipelinedRequestsAreAnsweredInOrder()
{
    constexpr int count = 200;
    QByteArray requests;
    for (int i = 0; i < count; ++i) {
        const QByteArray body = "{\"n\":" + QByteArray::number(i) + '}';
        requests += requestBytes("PUT", "/context/pipelined", {}, body);
        requests += requestBytes("HEAD", "/health");
        requests += requestBytes("GET", "/nothing");
    }
    HttpClient client = connected();
    QVERIFY(client.send(requests));
    for (int i = 0; i < count; ++i) {
        QCOMPARE(client.readResponse().json().value(QLatin1String("n")).toInt(-1), i);
        QCOMPARE(client.readResponse(true).status, 200);
        QCOMPARE(client.readResponse().status, 404);
    }
    QVERIFY(!client.hasInput());
}

void HttpConnectionsTest::requestsBehindAWaitingPollAreAnsweredAfterIt()
{
    HttpClient client = connected();
    client.send(requestBytes("GET", "/context/blocking/event") +
                requestBytes("GET", "/context/blocking") +
                requestBytes("PUT", "/context/blocking", {}, "{\"b\":2}"));
    QVERIFY(waitForCounts(*m_client, m_alone.plus(1)));
    QCOMPARE(m_client->exchange("PUT", "/context/blocking", {}, "{\"a\":1}").status, 201);

    const QJsonObject a{{QStringLiteral("a"), 1}};
    QCOMPARE(client.readResponse().json(), a);
    QCOMPARE(client.readResponse().json(), a);
    QVERIFY(client.readResponse().json().contains(QLatin1String("b")));
}

void HttpConnectionsTest::moreThanIsReadAheadBehindAWaitingPollIsAnswered()
{
    constexpr int count = 3000; // more than twice what the host reads ahead
    HttpClient client = connected();
    client.send(requestBytes("GET", "/context/long/event") +
                requestBytes("GET", "/context/none").repeated(count));
    QVERIFY(waitForCounts(*m_client, m_alone.plus(1)));
    QCOMPARE(m_client->exchange("PUT", "/context/long", {}, "{}").status, 201);
    QCOMPARE(m_client->exchange("PUT", "/context/long", {}, "{\"a\":1}").status, 200);
    QCOMPARE(client.readResponse().status, 200);
    for (int i = 0; i < count; ++i)
        QCOMPARE(client.readResponse().status, 404);
}

void HttpConnectionsTest::requestArrivingByteByByteIsServed()
{
    HttpClient client = connected();
    for (const char byte : requestBytes("PUT", "/context/bytewise", {}, "{\"a\":1}"))
        QVERIFY(client.send(QByteArray(1, byte)));
    QCOMPARE(client.readResponse().status, 201);
}

void HttpConnectionsTest::emptyLineBeforeARequestIsSkipped()
{
    HttpClient client = connected();
    client.send("\r\n" + requestBytes("GET", "/health") + "\r\n" + requestBytes("GET", "/health"));
    QCOMPARE(client.readResponse().status, 200);
    QCOMPARE(client.readResponse().status, 200);
}

void HttpConnectionsTest::requestOfAClientThatStopsSendingIsAnswered()
{
    HttpClient client = connected();
    client.send(requestBytes("GET", "/health") + requestBytes("GET", "/nothing"));
    client.endSending();
    QCOMPARE(client.readResponse().status, 200);
    QCOMPARE(client.readResponse().status, 404);
    QVERIFY(client.endsHere());
}

void HttpConnectionsTest::connectionCloseIsObeyed_data()
{
    QTest::addColumn<QByteArray>("value");
    QTest::newRow("close") << QByteArray("close");
    QTest::newRow("in capitals") << QByteArray("CLOSE");
    QTest::newRow("in a list") << QByteArray("keep-alive, x, Close");
}

void HttpConnectionsTest::connectionCloseIsObeyed()
{
    QFETCH(QByteArray, value);
    HttpClient client = connected();
    client.send(requestBytes("GET", "/health", {{"Connection", value}}) +
                requestBytes("GET", "/health"));
    const HttpResponse response = client.readResponse();
    QCOMPARE(response.status, 200);
    QCOMPARE(response.field("Connection"), QByteArray("close"));
    QVERIFY(client.endsHere());
}

void HttpConnectionsTest::http10ConnectionClosesAfterTheAnswer()
{
    HttpClient client = connected();
    client.send("GET /health HTTP/1.0\r\nHost: localhost\r\n\r\n" + requestBytes("GET", "/health"));
    const HttpResponse response = client.readResponse();
    QCOMPARE(response.statusLine, QByteArray("HTTP/1.1 200 OK"));
    QCOMPARE(response.field("Connection"), QByteArray("close"));
    QVERIFY(client.endsHere());
}

void HttpConnectionsTest::http10WithKeepAliveStaysOpen()
{
    HttpClient client = connected();
    const QByteArray request =
        "GET /health HTTP/1.0\r\nHost: localhost\r\nConnection: Keep-Alive\r\n\r\n";
    for (int i = 0; i < 3; ++i) {
        client.send(request);
        const HttpResponse response = client.readResponse();
        QCOMPARE(response.status, 200);
        QCOMPARE(response.field("Connection"), QByteArray("keep-alive"));
        QCOMPARE(response.count("Transfer-Encoding"), 0);
    }
}

void HttpConnectionsTest::http10StreamEndsWithTheConnection()
{
    HttpClient client = connected();
    client.send("GET /exchange/chunks HTTP/1.0\r\nHost: localhost\r\n"
                "Connection: keep-alive\r\n\r\n");
    const HttpResponse head = client.readHead();
    QCOMPARE(head.status, 200);
    QCOMPARE(head.count("Transfer-Encoding"), 0);
    QCOMPARE(head.count("Content-Length"), 0);
    QCOMPARE(head.field("Connection"), QByteArray("close"));
}

QTEST_GUILESS_MAIN(HttpConnectionsTest)
#include "tst_http_connections.moc"
