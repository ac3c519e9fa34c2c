#include "support/eventstream.h"
#include "support/healthcounts.h"
#include "support/hostprocess.h"
#include "support/httpclient.h"

#include <QtCore/QDateTime>
#include <QtCore/QLocale>
#include <QtCore/QRegularExpression>
#include <QtTest/QTest>

using namespace support;

/// Requests and answers as messages: how they follow each other on a connection, how their bodies
/// are framed, what their heads carry.
class HttpMessagesTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
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

    void headHasTheFieldsOfGetAndNoBody();
    void answersCarryDateServerAndLength();
    void noContentCarriesNeitherBodyNorLength();

    void chunkedBodyIsDecoded_data();
    void chunkedBodyIsDecoded();
    void chunkedBodyArrivingByteByByteIsDecoded();
    void largeBodiesArriveWhole();

    void expectedContinueComesBeforeTheBody();
    void expectedContinueIsNotGivenToARefusedRequest();
    void expectationInHttp10IsIgnored();
    void unknownExpectationIs417();

    void http10ConnectionClosesAfterTheAnswer();
    void http10WithKeepAliveStaysOpen();
    void http10StreamEndsWithTheConnection();

    void absoluteFormIsServedAsItsPath_data();
    void absoluteFormIsServedAsItsPath();
    void targetOfTwoSlashesNamesNoHost();
    void optionsOfTheServerIs204();
    void wrongMethodOnAHostRouteIs405_data();
    void wrongMethodOnAHostRouteIs405();
    void repeatedFieldsAreReadTogether();
    void fieldNamesAreReadWithoutRegardToCase();

private:
    HttpClient connected() const { return HttpClient(m_host->port()); }

    /// The context that the body stored, read back.
    QJsonObject storedObject(const QByteArray &id);

    std::unique_ptr<HostProcess> m_host;
    std::unique_ptr<HttpClient> m_client;
};

void HttpMessagesTest::initTestCase()
{
    m_host = std::make_unique<HostProcess>();
    QVERIFY(m_host->start());
    m_client = std::make_unique<HttpClient>(m_host->port());
}

QJsonObject HttpMessagesTest::storedObject(const QByteArray &id)
{
    return m_client->exchange("GET", "/context/" + id).json();
}

void HttpMessagesTest::keptAliveConnectionServesManyRequests()
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

void HttpMessagesTest::pipelinedRequestsAreAnsweredInOrder()
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

void HttpMessagesTest::requestsBehindAWaitingPollAreAnsweredAfterIt()
{
    const HealthCounts before = healthCounts(*m_client);
    HttpClient client = connected();
    client.send(requestBytes("GET", "/context/blocking/event") +
                requestBytes("GET", "/context/blocking") +
                requestBytes("PUT", "/context/blocking", {}, "{\"b\":2}"));
    QVERIFY(waitForCounts(*m_client, before.plus(1)));
    QCOMPARE(m_client->exchange("PUT", "/context/blocking", {}, "{\"a\":1}").status, 201);

    const QJsonObject a{{QStringLiteral("a"), 1}};
    QCOMPARE(client.readResponse().json(), a);
    QCOMPARE(client.readResponse().json(), a);
    QVERIFY(client.readResponse().json().contains(QLatin1String("b")));
}

void HttpMessagesTest::moreThanIsReadAheadBehindAWaitingPollIsAnswered()
{
    constexpr int count = 3000; // more than twice what the host reads ahead
    const HealthCounts before = healthCounts(*m_client);
    HttpClient client = connected();
    client.send(requestBytes("GET", "/context/long/event") +
                requestBytes("GET", "/context/none").repeated(count));
    QVERIFY(waitForCounts(*m_client, before.plus(1)));
    QCOMPARE(m_client->exchange("PUT", "/context/long", {}, "{}").status, 201);
    QCOMPARE(m_client->exchange("PUT", "/context/long", {}, "{\"a\":1}").status, 200);
    QCOMPARE(client.readResponse().status, 200);
    for (int i = 0; i < count; ++i)
        QCOMPARE(client.readResponse().status, 404);
}

void HttpMessagesTest::requestArrivingByteByByteIsServed()
{
    HttpClient client = connected();
    for (const char byte : requestBytes("PUT", "/context/bytewise", {}, "{\"a\":1}"))
        QVERIFY(client.send(QByteArray(1, byte)));
    QCOMPARE(client.readResponse().status, 201);
}

void HttpMessagesTest::emptyLineBeforeARequestIsSkipped()
{
    HttpClient client = connected();
    client.send("\r\n" + requestBytes("GET", "/health") + "\r\n" + requestBytes("GET", "/health"));
    QCOMPARE(client.readResponse().status, 200);
    QCOMPARE(client.readResponse().status, 200);
}

void HttpMessagesTest::requestOfAClientThatStopsSendingIsAnswered()
{
    HttpClient client = connected();
    client.send(requestBytes("GET", "/health") + requestBytes("GET", "/nothing"));
    client.endSending();
    QCOMPARE(client.readResponse().status, 200);
    QCOMPARE(client.readResponse().status, 404);
    QVERIFY(client.endsHere());
}

void HttpMessagesTest::connectionCloseIsObeyed_data()
{
    QTest::addColumn<QByteArray>("value");
    QTest::newRow("close") << QByteArray("close");
    QTest::newRow("in capitals") << QByteArray("CLOSE");
    QTest::newRow("in a list") << QByteArray("keep-alive, x, Close");
}

void HttpMessagesTest::connectionCloseIsObeyed()
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

void HttpMessagesTest::headHasTheFieldsOfGetAndNoBody()
{
    const HttpResponse get = m_client->exchange("GET", "/exchange/nothing");
    const HttpResponse head = m_client->exchange("HEAD", "/exchange/nothing");
    QCOMPARE(head.status, get.status);
    for (const char *name : {"Content-Type", "Content-Length", "Server"})
        QCOMPARE(head.field(name), get.field(name));
    QVERIFY(get.field("Content-Length").toInt() > 0);
    QCOMPARE(m_client->exchange("HEAD", "/health").status, 200);
    QVERIFY(!m_client->hasInput());
    QCOMPARE(m_client->exchange("GET", "/health").status, 200);
}

void HttpMessagesTest::answersCarryDateServerAndLength()
{
    const HttpResponse response = m_client->exchange("GET", "/health");
    QCOMPARE(response.statusLine, QByteArray("HTTP/1.1 200 OK"));
    QCOMPARE(response.field("Server"), QByteArray("kavo-host"));
    QCOMPARE(response.field("Content-Length").toInt(), response.body.size());
    for (const char *name : {"Date", "Server", "Content-Length", "Content-Type"})
        QCOMPARE(response.count(name), 1);
    const QDateTime date =
        QLocale::c().toDateTime(QString::fromLatin1(response.field("Date")),
                                QStringLiteral("ddd, dd MMM yyyy hh:mm:ss 'GMT'"));
    QVERIFY2(date.isValid(), response.field("Date").constData());
    const QDateTime utc(date.date(), date.time(), Qt::UTC);
    QVERIFY(qAbs(utc.secsTo(QDateTime::currentDateTimeUtc())) < 60);
}

void HttpMessagesTest::noContentCarriesNeitherBodyNorLength()
{
    m_client->exchange("PUT", "/context/removed", {}, "{}");
    const HttpResponse response = m_client->exchange("DELETE", "/context/removed");
    QCOMPARE(response.status, 204);
    QCOMPARE(response.count("Content-Length"), 0);
    QCOMPARE(response.count("Transfer-Encoding"), 0);
    QCOMPARE(m_client->exchange("GET", "/health").status, 200);
}

void HttpMessagesTest::chunkedBodyIsDecoded_data()
{
    QTest::addColumn<QByteArray>("body");
    QTest::newRow("one chunk") << QByteArray("7\r\n{\"a\":1}\r\n0\r\n\r\n");
    QTest::newRow("two chunks") << QByteArray("3\r\n{\"a\r\n4\r\n\":1}\r\n0\r\n\r\n");
    QTest::newRow("capital digits") << QByteArray("A\r\n{\"a\":1   }\r\n0\r\n\r\n");
    QTest::newRow("leading zeros") << QByteArray("0007\r\n{\"a\":1}\r\n000\r\n\r\n");
    QTest::newRow("extensions") << QByteArray("7;x;y=1;z=\"q, ;\"\r\n{\"a\":1}\r\n0;last\r\n\r\n");
    QTest::newRow("trailers") << QByteArray(
        "7\r\n{\"a\":1}\r\n0\r\nX-Sum: 1\r\nDate: today\r\n\r\n");
}

void HttpMessagesTest::chunkedBodyIsDecoded()
{
    QFETCH(QByteArray, body);
    const QByteArray id = "chunked" + QByteArray(QTest::currentDataTag()).replace(' ', "");
    HttpClient client = connected();
    client.send(requestBytes("PUT", "/context/" + id, {{"Transfer-Encoding", "chunked"}}) + body +
                requestBytes("GET", "/health"));
    QCOMPARE(client.readResponse().status, 201);
    QCOMPARE(client.readResponse().status, 200);
    QCOMPARE(storedObject(id), (QJsonObject{{QStringLiteral("a"), 1}}));
}

void HttpMessagesTest::chunkedBodyArrivingByteByByteIsDecoded()
{
    HttpClient client = connected();
    const QByteArray request =
        requestBytes("PUT", "/context/chunkedbytewise", {{"Transfer-Encoding", "Chunked"}}) +
        "3;e=\"v\"\r\n{\"a\r\n4\r\n\":1}\r\n0\r\nX-Sum: 1\r\n\r\n";
    for (const char byte : request)
        QVERIFY(client.send(QByteArray(1, byte)));
    QCOMPARE(client.readResponse().status, 201);
    QCOMPARE(storedObject("chunkedbytewise"), (QJsonObject{{QStringLiteral("a"), 1}}));
}

void HttpMessagesTest::largeBodiesArriveWhole()
{
    const QByteArray text(5 * 1000 * 1000, 'x');
    const QByteArray json = "{\"text\":\"" + text + "\"}";
    QCOMPARE(m_client->exchange("PUT", "/context/large", {}, json).status, 201);
    QCOMPARE(storedObject("large").value(QLatin1String("text")).toString().size(), text.size());

    HttpClient client = connected();
    client.send(requestBytes("PUT", "/context/largechunked", {{"Transfer-Encoding", "chunked"}}));
    constexpr int step = 99999;
    for (int from = 0; from < json.size(); from += step) {
        const QByteArray piece = json.mid(from, step);
        QVERIFY(client.send(QByteArray::number(piece.size(), 16) + "\r\n" + piece + "\r\n"));
    }
    QVERIFY(client.send("0\r\n\r\n"));
    const HttpResponse response = client.readResponse();
    QCOMPARE(response.status, 201);
    QCOMPARE(response.json(), storedObject("large"));
    QCOMPARE(m_client->exchange("DELETE", "/context/large").status, 204);
    QCOMPARE(m_client->exchange("DELETE", "/context/largechunked").status, 204);
}

void HttpMessagesTest::expectedContinueComesBeforeTheBody()
{
    HttpClient client = connected();
    client.send("PUT /context/expecting HTTP/1.1\r\nHost: localhost\r\nExpect: 100-Continue\r\n"
                "Content-Length: 7\r\n\r\n");
    QCOMPARE(client.readResponse().statusLine, QByteArray("HTTP/1.1 100 Continue"));
    QVERIFY(!client.hasInput());
    client.send("{\"a\":1}");
    QCOMPARE(client.readResponse().status, 201);

    client.send("PUT /context/expecting HTTP/1.1\r\nHost: localhost\r\nExpect: 100-continue\r\n"
                "Transfer-Encoding: chunked\r\n\r\n");
    QCOMPARE(client.readResponse().status, 100);
    client.send("7\r\n{\"b\":1}\r\n0\r\n\r\n");
    QCOMPARE(client.readResponse().status, 200);
    QVERIFY(storedObject("expecting").contains(QLatin1String("b")));
}

void HttpMessagesTest::expectedContinueIsNotGivenToARefusedRequest()
{
    HttpClient client = connected();
    client.send("PUT /context/expecting HTTP/1.1\r\nHost: localhost\r\nExpect: 100-continue\r\n"
                "Content-Length: 70000000000\r\n\r\n");
    QCOMPARE(client.readResponse().status, 413);
    QVERIFY(client.endsHere());
}

void HttpMessagesTest::expectationInHttp10IsIgnored()
{
    HttpClient client = connected();
    client.send("PUT /context/expecting10 HTTP/1.0\r\nHost: localhost\r\nExpect: 100-continue\r\n"
                "Content-Length: 2\r\n\r\n{}");
    QCOMPARE(client.readResponse().status, 201);
    QVERIFY(client.endsHere());
}

void HttpMessagesTest::unknownExpectationIs417()
{
    HttpClient client = connected();
    QCOMPARE(client.exchange("PUT", "/context/wishes", {{"Expect", "200-ok"}}, "{}").status, 417);
    QVERIFY(client.endsHere());
}

void HttpMessagesTest::http10ConnectionClosesAfterTheAnswer()
{
    HttpClient client = connected();
    client.send("GET /health HTTP/1.0\r\nHost: localhost\r\n\r\n" + requestBytes("GET", "/health"));
    const HttpResponse response = client.readResponse();
    QCOMPARE(response.statusLine, QByteArray("HTTP/1.1 200 OK"));
    QCOMPARE(response.field("Connection"), QByteArray("close"));
    QVERIFY(client.endsHere());
}

void HttpMessagesTest::http10WithKeepAliveStaysOpen()
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

void HttpMessagesTest::http10StreamEndsWithTheConnection()
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

void HttpMessagesTest::absoluteFormIsServedAsItsPath_data()
{
    QTest::addColumn<QByteArray>("target");
    QTest::addColumn<QByteArray>("hostField");
    QTest::addColumn<int>("status");
    QTest::newRow("own name") << QByteArray("http://localhost/health") << QByteArray("localhost")
                              << 200;
    QTest::newRow("scheme in capitals")
        << QByteArray("HTTP://127.0.0.1:80/health") << QByteArray("localhost") << 200;
    QTest::newRow("the target's host counts, not the field")
        << QByteArray("http://evil.example/health") << QByteArray("localhost") << 421;
    QTest::newRow("also when the field is foreign")
        << QByteArray("http://localhost/health") << QByteArray("evil.example") << 200;
    QTest::newRow("another scheme")
        << QByteArray("https://localhost/health") << QByteArray("localhost") << 421;
    QTest::newRow("without a path")
        << QByteArray("http://localhost?x=1") << QByteArray("localhost") << 404;
}

void HttpMessagesTest::absoluteFormIsServedAsItsPath()
{
    QFETCH(QByteArray, target);
    QFETCH(QByteArray, hostField);
    QFETCH(int, status);
    HttpClient client = connected();
    client.send("GET " + target + " HTTP/1.1\r\nHost: " + hostField + "\r\n\r\n");
    QCOMPARE(client.readResponse().status, status);
}

void HttpMessagesTest::targetOfTwoSlashesNamesNoHost()
{
    QCOMPARE(m_client->exchange("GET", "//localhost/health").status, 404);
    QCOMPARE(m_client->exchange("GET", "//health").status, 404);
    QCOMPARE(m_client->exchange("PUT", "//evil.example/context/slashes", {}, "{}").status, 404);
    QCOMPARE(m_client->exchange("GET", "/context/slashes").status, 404);
}

void HttpMessagesTest::optionsOfTheServerIs204()
{
    const HttpResponse response = m_client->exchange("OPTIONS", "*");
    QCOMPARE(response.status, 204);
    QVERIFY(response.field("Allow").contains("GET"));
    QCOMPARE(m_client->exchange("GET", "/health").status, 200);
}

void HttpMessagesTest::wrongMethodOnAHostRouteIs405_data()
{
    QTest::addColumn<QByteArray>("method");
    QTest::addColumn<QByteArray>("target");
    QTest::addColumn<QByteArray>("allow");
    for (const char *method : {"PUT", "DELETE", "PATCH", "OPTIONS", "TRACE"}) {
        QTest::addRow("%s /health", method)
            << QByteArray(method) << QByteArray("/health") << QByteArray("GET, HEAD");
        QTest::addRow("%s /exchange/chunks", method)
            << QByteArray(method) << QByteArray("/exchange/chunks")
            << QByteArray("GET, HEAD, POST");
    }
    QTest::addRow("POST /health") << QByteArray("POST") << QByteArray("/health")
                                  << QByteArray("GET, HEAD");
}

void HttpMessagesTest::wrongMethodOnAHostRouteIs405()
{
    QFETCH(QByteArray, method);
    QFETCH(QByteArray, target);
    QFETCH(QByteArray, allow);
    const HttpResponse response = m_client->exchange(method, target);
    QCOMPARE(response.status, 405);
    QCOMPARE(response.field("Allow"), allow);
}

void HttpMessagesTest::repeatedFieldsAreReadTogether()
{
    const HttpResponse response = m_client->exchange(
        "POST", "/context", {{"Accept", "text/html"}, {"accept", "text/plain"}}, "{}");
    QCOMPARE(response.field("Content-Type"), QByteArray("text/plain"));
}

void HttpMessagesTest::fieldNamesAreReadWithoutRegardToCase()
{
    HttpClient client = connected();
    client.send("PUT /context/cases HTTP/1.1\r\nhOST:localhost\r\ncontent-LENGTH:\t2 \r\n"
                "CONTENT-type: text/plain\r\n\r\n{}");
    QCOMPARE(client.readResponse().status, 404);
    QCOMPARE(client.exchange("GET", "/health").status, 200);
}

QTEST_GUILESS_MAIN(HttpMessagesTest)
#include "tst_http_messages.moc"
