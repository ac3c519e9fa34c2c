#include "support/eventstream.h"
#include "support/hostprocess.h"
#include "support/httpclient.h"

#include <QtTest/QTest>

using namespace support;

namespace {

constexpr int requestLineLimit = 8 * 1024;
constexpr int headerSectionLimit = 16 * 1024;
constexpr int bodyLimit = 1000;

// What an attacker would like to have served behind a request that is read in two ways.
QByteArray smuggledRequest()
{
    return requestBytes("POST", "/context", {}, "{\"smuggled\":true}");
}

// A request with a head that is well but for these lines.
QByteArray withFields(const QByteArray &lines, const QByteArray &body = {})
{
    return "PUT /context/refused HTTP/1.1\r\nHost: localhost\r\n" + lines + "\r\n" + body;
}

QByteArray withHost(const QByteArray &value)
{
    return "PUT /context/refused HTTP/1.1\r\nHost: " + value + "\r\nContent-Length: 2\r\n\r\n{}";
}

QByteArray chunkedWith(const QByteArray &body)
{
    return withFields("Transfer-Encoding: chunked\r\n", body);
}

QByteArray withRequestLine(const QByteArray &line)
{
    return line + "\r\nHost: localhost\r\n\r\n";
}

// A request whose line has this many bytes.
QByteArray withRequestLineOf(int size)
{
    const QByteArray start = "GET /";
    const QByteArray end = " HTTP/1.1";
    return withRequestLine(start + QByteArray(size - start.size() - end.size(), 'a') + end);
}

// A request whose header section has this many bytes, line ends included.
QByteArray withHeaderSectionOf(int size)
{
    QByteArray section = "Host: localhost\r\n";
    while (size - section.size() > 2000)
        section += "X-Filler: " + QByteArray(1000, 'f') + "\r\n";
    const QByteArray name = "X-Rest: ";
    section += name + QByteArray(size - section.size() - name.size() - 2, 'r') + "\r\n";
    return "GET /health HTTP/1.1\r\n" + section + "\r\n";
}

QByteArray jsonOf(int size)
{
    return '{' + QByteArray(size - 2, ' ') + '}';
}

void row(const char *name, int status, const QByteArray &request)
{
    QTest::newRow(name) << request << status;
}

void addLineRows()
{
    row("LF alone ends every line", 400, "GET /health HTTP/1.1\nHost: localhost\n\n");
    row("LF alone ends the request line", 400, "GET /health HTTP/1.1\nHost: localhost\r\n\r\n");
    row("LF alone ends a field", 400, withFields("X: 1\nContent-Length: 2\r\n", "{}"));
    row("LF alone ends the section", 400, "GET /health HTTP/1.1\r\nHost: localhost\r\n\n");
    row("CR alone in a value", 400, withFields("X: a\rContent-Length: 2\r\n", "{}"));
    row("two CR before LF", 400, withFields("X: a\r\r\n"));
    row("a field folded with a blank", 400, withFields("X: a\r\n b\r\n"));
    row("a field folded with a tab", 400, withFields("X: a\r\n\tContent-Length: 2\r\n", "{}"));
    row("a field folded to nothing", 400, withFields("X: a\r\n \r\n"));
    row("the first field is folded", 400,
        "GET /health HTTP/1.1\r\n Host: localhost\r\nHost: localhost\r\n\r\n");
    row("a field without colon", 400, withFields("Nonsense\r\n"));
    row("a field without name", 400, withFields(": x\r\n"));
    row("a blank before the colon", 400, withFields("Content-Length : 2\r\n", "{}"));
    row("a parenthesis in a name", 400, withFields("X(Y: 1\r\n"));
    row("NUL in a name", 400, withFields(QByteArray("X\0Y: 1\r\n", 8)));
    row("NUL in a value", 400, withFields(QByteArray("X: a\0b\r\n", 8)));
    row("a control character in a value", 400, withFields("X: a\x01\r\n"));
    row("DEL in a value", 400, withFields("X: a\x7f\r\n"));
    row("two empty lines first", 400, "\r\n\r\n" + requestBytes("GET", "/health"));
}

void addRequestLineRows()
{
    row("no version", 400, withRequestLine("GET /health"));
    row("no target", 400, withRequestLine("GET HTTP/1.1"));
    row("two blanks", 400, withRequestLine("GET  /health HTTP/1.1"));
    row("a word too many", 400, withRequestLine("GET /health x HTTP/1.1"));
    row("a blank at the end", 400, withRequestLine("GET /health HTTP/1.1 "));
    row("a blank at the start", 400, withRequestLine(" GET /health HTTP/1.1"));
    row("tabs", 400, withRequestLine("GET\t/health\tHTTP/1.1"));
    row("NUL in the target", 400, withRequestLine(QByteArray("GET /he\0lth HTTP/1.1", 20)));
    row("bytes beyond ASCII in the target", 400, withRequestLine("GET /h\xc3\xa4lth HTTP/1.1"));
    row("a fragment", 400, withRequestLine("GET /health#x HTTP/1.1"));
    row("a quotation mark in the target", 400, withRequestLine("GET /\"x\" HTTP/1.1"));
    row("an escape that is none", 400, withRequestLine("GET /%zz HTTP/1.1"));
    row("half an escape", 400, withRequestLine("GET /x%4 HTTP/1.1"));
    row("a target without slash", 400, withRequestLine("GET health HTTP/1.1"));
    row("GET *", 400, withRequestLine("GET * HTTP/1.1"));
    row("CONNECT of a path", 400, withRequestLine("CONNECT /health HTTP/1.1"));
    row("absolute form without host", 400, withRequestLine("GET http:///health HTTP/1.1"));
    row("absolute form with a user", 400, withRequestLine("GET http://u@localhost/ HTTP/1.1"));
    row("an answer instead of a request", 400, withRequestLine("HTTP/1.1 200 OK"));
    row("a TLS greeting", 400, QByteArray("\x16\x03\x01\x02\x00\x01\x00\x01\xfc\x03\x03", 11));
    row("an unknown method", 501, withRequestLine("BREW /health HTTP/1.1"));
    row("a method of WebDAV", 501, withRequestLine("PROPFIND /health HTTP/1.1"));
    row("a method in small letters", 501, withRequestLine("get /health HTTP/1.1"));
    row("a method that is no token", 400, withRequestLine("GE(T /health HTTP/1.1"));
    row("HTTP/2.0", 505, withRequestLine("GET /health HTTP/2.0"));
    row("HTTP/1.2", 505, withRequestLine("GET /health HTTP/1.2"));
    row("HTTP/0.9", 505, withRequestLine("GET /health HTTP/0.9"));
    row("the greeting of HTTP/2", 505, "PRI * HTTP/2.0\r\n\r\nSM\r\n\r\n");
    row("a version of two digits", 400, withRequestLine("GET /health HTTP/1.10"));
    row("a version in small letters", 400, withRequestLine("GET /health http/1.1"));
    row("a version without point", 400, withRequestLine("GET /health HTTP/11"));
}

void addHostRows()
{
    row("no Host", 400, "GET /health HTTP/1.1\r\n\r\n");
    row("no Host in HTTP/1.0", 400, "GET /health HTTP/1.0\r\n\r\n");
    row("two Hosts", 400, withFields("Host: localhost\r\n"));
    row("no Host in absolute form", 400, "GET http://localhost/health HTTP/1.1\r\n\r\n");
    row("an empty Host", 400, withHost(""));
    row("a Host of two words", 400, withHost("local host"));
    row("a list of Hosts", 400, withHost("localhost/, localhost"));
    row("a path in Host", 400, withHost("localhost/health"));
    row("a user in Host", 400, withHost("user@localhost"));
    row("a port that is no number", 400, withHost("localhost:http"));
    row("two ports", 400, withHost("localhost:1:2"));
    row("a port too long", 400, withHost("localhost:1234567"));
    row("half a bracket", 400, withHost("[::1"));
    row("text behind a bracket", 400, withHost("[::1]x"));
    row("an escape in Host that is none", 400, withHost("local%host"));
}

void addFramingRows()
{
    const QByteArray chunk = "2\r\n{}\r\n0\r\n\r\n";
    row("Content-Length, then Transfer-Encoding", 400,
        withFields("Content-Length: 2\r\nTransfer-Encoding: chunked\r\n", chunk));
    row("Transfer-Encoding, then Content-Length", 400,
        withFields("Transfer-Encoding: chunked\r\nContent-Length: 2\r\n", chunk));
    row("two equal lengths", 400, withFields("Content-Length: 2\r\nContent-Length: 2\r\n", "{}"));
    row("two different lengths", 400,
        withFields("Content-Length: 2\r\nContent-Length: 0\r\n", "{}"));
    for (const char *length : {"2, 2", "2,0", "+2", "-2", "0x2", "2 2", "2a", "", "2.0", "\"2\"",
                               "2;x", "18446744073709551618x"}) {
        QTest::addRow("Content-Length: %s", length)
            << withFields(QByteArray("Content-Length: ") + length + "\r\n", "{}") << 400;
    }
    row("a length beyond 64 bits", 400,
        withFields("Content-Length: 18446744073709551618\r\n", "{}"));
    for (const char *coding : {"chunked, gzip", "gzip", "identity", "chunked, chunked", "xchunked",
                               "chunked x", "chunked;q=1", "\"chunked\"", "", "chunked\x0b"}) {
        QTest::addRow("Transfer-Encoding: %s", coding)
            << withFields(QByteArray("Transfer-Encoding: ") + coding + "\r\n", chunk) << 400;
    }
    row("a coding before chunked", 501, withFields("Transfer-Encoding: gzip, chunked\r\n", chunk));
    row("a coding before chunked, in two fields", 501,
        withFields("Transfer-Encoding: gzip\r\nTransfer-Encoding: chunked\r\n", chunk));
    row("chunked in two fields", 400,
        withFields("Transfer-Encoding: chunked\r\nTransfer-Encoding: chunked\r\n", chunk));
    row("a transfer coding in HTTP/1.0", 400,
        "PUT /context/refused HTTP/1.0\r\nHost: localhost\r\nTransfer-Encoding: chunked\r\n\r\n" +
            chunk);
}

void addChunkRows()
{
    for (const char *size : {"g", "-2", "+2", "", " 2", "2 ", "0x2", "2,", "2 x", "\t2",
                             "fffffffffffffffff", "10000000000000002"}) {
        QTest::addRow("a chunk of size \"%s\"", size)
            << chunkedWith(QByteArray(size) + "\r\n{}\r\n0\r\n\r\n") << 400;
    }
    row("LF alone behind a size", 400, chunkedWith("2\n{}\r\n0\r\n\r\n"));
    row("LF alone behind a chunk", 400, chunkedWith("2\r\n{}\n0\r\n\r\n"));
    row("a chunk longer than its size", 400, chunkedWith("2\r\n{}}\r\n0\r\n\r\n"));
    row("no line end behind a chunk", 400, chunkedWith("2\r\n{}0\r\n\r\n"));
    row("CR alone in an extension", 400, chunkedWith("2;a\rb\r\n{}\r\n0\r\n\r\n"));
    row("LF alone in an extension", 400, chunkedWith("2;a\nb\r\n{}\r\n0\r\n\r\n"));
    row("NUL in an extension", 400, chunkedWith(QByteArray("2;\0\r\n{}\r\n0\r\n\r\n", 14)));
    row("an extension without name", 400, chunkedWith("2;=x\r\n{}\r\n0\r\n\r\n"));
    row("an extension that does not end", 400,
        chunkedWith("2;" + QByteArray(40000, 'x') + "\r\n{}\r\n0\r\n\r\n"));
    row("a trailer without colon", 400, chunkedWith("2\r\n{}\r\n0\r\nNonsense\r\n\r\n"));
    row("a folded trailer", 400, chunkedWith("2\r\n{}\r\n0\r\nX: a\r\n b\r\n\r\n"));
    row("LF alone ends a trailer", 400, chunkedWith("2\r\n{}\r\n0\r\nX: a\n\r\n"));
    row("a Content-Length among the trailers", 400,
        chunkedWith("2\r\n{}\r\n0\r\nContent-Length: 2\r\n\r\n"));
    row("LF alone ends the body", 400, chunkedWith("2\r\n{}\r\n0\r\n\n"));
}

void addLimitRows()
{
    row("a request line too long", 414, withRequestLineOf(requestLineLimit + 1));
    row("a request line that does not end", 414, QByteArray(3 * requestLineLimit, 'G'));
    row("a header section too large", 431, withHeaderSectionOf(headerSectionLimit + 1));
    row("a field that does not end", 431,
        "GET /health HTTP/1.1\r\nX: " + QByteArray(3 * headerSectionLimit, 'x'));
    row("a body too large", 413,
        withFields("Content-Length: " + QByteArray::number(bodyLimit + 1) + "\r\n",
                   jsonOf(bodyLimit + 1)));
    row("a chunk too large", 413,
        chunkedWith(QByteArray::number(bodyLimit + 1, 16) + "\r\n" + jsonOf(bodyLimit + 1) +
                    "\r\n0\r\n\r\n"));
    row("a chunk of almost 64 bits", 413, chunkedWith("ffffffffffffffff\r\n{}\r\n0\r\n\r\n"));
    QByteArray chunks;
    for (int i = 0; i <= bodyLimit; ++i)
        chunks += "1\r\n \r\n";
    row("chunks too many", 413, chunkedWith(chunks + "0\r\n\r\n"));
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
    void anyBytesEndInARefusalOrAnEnd();

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
    addLineRows();
    addRequestLineRows();
    addHostRows();
    addFramingRows();
    addChunkRows();
    addLimitRows();
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

void RefusalsTest::anyBytesEndInARefusalOrAnEnd()
{
    // A generator of its own, so that every run sends the same.
    quint32 state = 1;
    const auto next = [&state] {
        state = state * 1664525u + 1013904223u;
        return state >> 16;
    };
    const QByteArray valid =
        chunkedWith("3;a=b\r\n{\"a\r\n4\r\n\":1}\r\n0\r\nX: y\r\n\r\n") + requestBytes("GET", "/");
    for (int round = 0; round < 500; ++round) {
        QByteArray bytes = valid;
        for (quint32 changes = next() % 4 + 1; changes > 0; --changes) {
            const int at = int(next() % quint32(bytes.size()));
            if (next() % 3 == 0)
                bytes.remove(at, int(next() % 9));
            else if (next() % 2 == 0)
                bytes.insert(at, char(next()));
            else
                bytes[at] = char(next());
        }
        HttpClient client(m_host->port());
        client.send(bytes);
        client.endSending();
        const QByteArray answer = client.readToEnd();
        QVERIFY2(answer.isEmpty() || answer.startsWith("HTTP/1.1 "),
                 bytes.toPercentEncoding().constData());
    }
    QCOMPARE(m_client->exchange("GET", "/health").status, 200);
}

QTEST_GUILESS_MAIN(RefusalsTest)
#include "tst_refusals.moc"
