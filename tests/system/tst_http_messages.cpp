#include "support/hostprocess.h"
#include "support/httpclient.h"

#include <QtCore/QDateTime>
#include <QtCore/QLocale>
#include <QtCore/QRegularExpression>
#include <QtTest/QTest>

using namespace support;

/// Requests and answers as messages: how their bodies are framed, what their heads carry.
class HttpMessagesTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void cleanupTestCase() { m_host.reset(); }

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
    QTest::newRow("blanks around extensions")
        << QByteArray("7 ; x ; y = 1\r\n{\"a\":1}\r\n0\t;last\r\n\r\n");
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
