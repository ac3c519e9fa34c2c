#include "refusedrequests.h"
#include "support/eventstream.h"
#include "support/hostprocess.h"
#include "support/httpclient.h"

#include <QtTest/QTest>

using namespace refused;
using namespace support;

namespace {

// What an attacker would like to have served behind a request that is read in two ways.
QByteArray smuggledRequest()
{
    return requestBytes("POST", "/context", {}, "{\"smuggled\":true}");
}

void row(const char *name, int status, const QByteArray &request)
{
    QTest::newRow(name) << request << status;
}

} // namespace

/// Requests that must not be served: what they are answered, that the connection ends with that
/// answer, and that nothing behind them is served.
class RefusalsTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void cleanupTestCase();

    void refusedAndNothingBehindItIsRead_data();
    void refusedAndNothingBehindItIsRead();
    void refusedAlsoByteByByte_data() { refusedAndNothingBehindItIsRead_data(); }
    void refusedAlsoByteByByte();

    void exactLimitsAreAccepted_data();
    void exactLimitsAreAccepted();
    void harmlessOdditiesAreAccepted_data();
    void harmlessOdditiesAreAccepted();
    void answerArrivesThoughTheClientStillSends();
    void refusalOfAHeadRequestCarriesNoBody();

private:
    /// Fails when anything was published since the last call, which a request that was served in
    /// spite of a refusal would have caused.
    void verifyNothingWasServed();

    std::unique_ptr<HostProcess> m_host;
    std::unique_ptr<HttpClient> m_client;
    std::unique_ptr<EventStream> m_stream;
    int m_marker = 0;
};

void RefusalsTest::initTestCase()
{
    HostSetup setup;
    setup.options << QStringLiteral("--max-body") << QString::number(bodyLimit);
    m_host = std::make_unique<HostProcess>(setup);
    QVERIFY(m_host->start());
    m_client = std::make_unique<HttpClient>(m_host->port());
    m_stream = std::make_unique<EventStream>(m_host->port(), "?only=published");
    QCOMPARE(m_stream->head().status, 200);
}

void RefusalsTest::cleanupTestCase()
{
    m_stream.reset();
    m_host.reset();
}

void RefusalsTest::verifyNothingWasServed()
{
    const QByteArray body = "{\"marker\":" + QByteArray::number(++m_marker) + '}';
    QVERIFY(m_client->exchange("PUT", "/context/marker", {}, body).status >= 200);
    const QJsonObject data = m_stream->next().json().value(QLatin1String("data")).toObject();
    QCOMPARE(data.value(QLatin1String("data")).toObject().value(QLatin1String("marker")).toInt(),
             m_marker);
}

void RefusalsTest::refusedAndNothingBehindItIsRead_data()
{
    QTest::addColumn<QByteArray>("request");
    QTest::addColumn<int>("status");
    for (const Request &request : requests())
        row(request.name.constData(), request.status, request.bytes);
}

void RefusalsTest::refusedAndNothingBehindItIsRead()
{
    QFETCH(QByteArray, request);
    QFETCH(int, status);
    HttpClient client(m_host->port());
    client.send(request + smuggledRequest());
    const HttpResponse response = client.readResponse();
    QVERIFY2(response.status != 0, qPrintable(response.fault));
    QCOMPARE(response.status, status);
    QCOMPARE(response.field("Connection"), QByteArray("close"));
    QCOMPARE(response.field("Content-Type"), QByteArray("text/plain"));
    QCOMPARE(response.body.count('\n'), 1);
    QVERIFY(client.endsHere());
    verifyNothingWasServed();
}

void RefusalsTest::refusedAlsoByteByByte()
{
    QFETCH(QByteArray, request);
    QFETCH(int, status);
    if (request.size() > requestLineLimit)
        request.truncate(headerSectionLimit * 2); // enough of it to be refused
    HttpClient client(m_host->port());
    const QByteArray all = request + smuggledRequest();
    const int step = all.size() > requestLineLimit / 2 ? 97 : 1;
    for (int i = 0; i < all.size(); i += step) {
        if (!client.send(all.mid(i, step)))
            break; // refused already
    }
    const HttpResponse response = client.readResponse();
    QVERIFY2(response.status != 0, qPrintable(response.fault));
    QCOMPARE(response.status, status);
    QVERIFY(client.endsHere());
    verifyNothingWasServed();
}

void RefusalsTest::exactLimitsAreAccepted_data()
{
    QTest::addColumn<QByteArray>("request");
    QTest::addColumn<int>("status");
    row("a request line of 8 KiB", 404, withRequestLineOf(requestLineLimit));
    row("a header section of 16 KiB", 200, withHeaderSectionOf(headerSectionLimit));
    row("a body of the most bytes", 201,
        requestBytes("PUT", "/context/exact", {}, jsonOf(bodyLimit)));
    const QByteArray first = QByteArray::number(bodyLimit - 1, 16) + "\r\n";
    const QByteArray json = jsonOf(bodyLimit);
    row("a chunked body of the most bytes", 201,
        requestBytes("PUT", "/context/exactchunked", {{"Transfer-Encoding", "chunked"}}) + first +
            json.left(bodyLimit - 1) + "\r\n1\r\n}\r\n0\r\n\r\n");
}

void RefusalsTest::exactLimitsAreAccepted()
{
    QFETCH(QByteArray, request);
    QFETCH(int, status);
    HttpClient client(m_host->port());
    client.send(request + requestBytes("GET", "/health"));
    QCOMPARE(client.readResponse().status, status);
    QCOMPARE(client.readResponse().status, 200);
}

void RefusalsTest::harmlessOdditiesAreAccepted_data()
{
    QTest::addColumn<QByteArray>("lines");
    QTest::newRow("an empty value") << QByteArray("X-Empty:\r\n");
    QTest::newRow("blanks around a value") << QByteArray("X: \t a b\t \r\n");
    QTest::newRow("no blank before a value") << QByteArray("X:a\r\n");
    QTest::newRow("bytes beyond ASCII in a value") << QByteArray("X: M\xc3\xbcller \xff\r\n");
    QTest::newRow("a name of every token character") << QByteArray("!#$%&'*+-.^_`|~09azAZ: 1\r\n");
    QTest::newRow("a repeated field") << QByteArray("X: 1\r\nX: 2\r\n");
    QTest::newRow("a length with leading zeros") << QByteArray("Content-Length: 000\r\n");
    QTest::newRow("an upgrade nobody asked for") << QByteArray(
        "Connection: Upgrade, HTTP2-Settings\r\nUpgrade: h2c\r\nHTTP2-Settings: AAMAAABk\r\n");
}

void RefusalsTest::harmlessOdditiesAreAccepted()
{
    QFETCH(QByteArray, lines);
    HttpClient client(m_host->port());
    client.send("GET /health HTTP/1.1\r\nHost: localhost\r\n" + lines + "\r\n");
    QCOMPARE(client.readResponse().status, 200);
    QCOMPARE(client.exchange("GET", "/health").status, 200);
}

void RefusalsTest::answerArrivesThoughTheClientStillSends()
{
    // Closing at once would make the client's system throw the answer away.
    HttpClient client(m_host->port());
    QVERIFY(client.send(requestBytes("PUT", "/context/refused", {}, jsonOf(5 * 1000 * 1000))));
    QCOMPARE(client.readResponse().status, 413);
    QVERIFY(client.endsHere());
    verifyNothingWasServed();
}

void RefusalsTest::refusalOfAHeadRequestCarriesNoBody()
{
    HttpClient client(m_host->port());
    client.send("HEAD /health HTTP/1.1\r\nHost: evil.example\r\n\r\n");
    QCOMPARE(client.readResponse(true).status, 421);
    QVERIFY(client.endsHere());
}

QTEST_GUILESS_MAIN(RefusalsTest)
#include "tst_refusals.moc"
