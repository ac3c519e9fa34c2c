#include "http/requestparser.h"

#include <QtTest/QtTest>

using namespace host;
using Method = RequestHead::Method;

class TestRequestParser : public QObject
{
    Q_OBJECT

    static constexpr qint64 bodyLimit = 100;

    static QByteArray withFields(const QByteArray &fields)
    {
        return "POST /x HTTP/1.1\r\nHost: localhost\r\n" + fields + "\r\n";
    }

    static int statusOf(const QByteArray &bytes)
    {
        RequestParser parser(bodyLimit);
        RequestHead head;
        return parser.parseHead(bytes, &head).status;
    }

    static RequestHead parsed(const QByteArray &bytes)
    {
        RequestParser parser(bodyLimit);
        RequestHead head;
        const Refusal refusal = parser.parseHead(bytes, &head);
        if (refusal)
            qWarning("%s", refusal.reason.constData());
        return head;
    }

    static QByteArray text(const RequestHead &head, Span span)
    {
        const std::string_view view = head.text(span);
        return QByteArray(view.data(), int(view.size()));
    }

    struct Decoded
    {
        int status = 0;
        bool complete = false;
        QByteArray body;
        QByteArray rest;
    };

    // Hands the bytes over `step` at a time, keeping what was not used, as a connection does.
    static Decoded decode(const QByteArray &bytes, int step)
    {
        RequestParser parser(bodyLimit);
        RequestHead head;
        Decoded decoded;
        const Refusal bad = parser.parseHead(withFields("Transfer-Encoding: chunked\r\n"), &head);
        if (bad)
            return {bad.status, false, {}, {}};
        for (int i = 0; i < bytes.size() && !decoded.complete; i += step) {
            decoded.rest += bytes.mid(i, step);
            std::size_t used = 0;
            const Refusal refusal =
                parser.parseChunked(decoded.rest.constData(), std::size_t(decoded.rest.size()),
                                    &decoded.body, &used, &decoded.complete);
            if (refusal)
                return {refusal.status, false, decoded.body, decoded.rest};
            decoded.rest.remove(0, int(used));
        }
        return decoded;
    }

private Q_SLOTS:
    void methods_data()
    {
        QTest::addColumn<QByteArray>("name");
        QTest::addColumn<int>("number");
        QTest::newRow("DELETE") << QByteArray("DELETE") << 0;
        QTest::newRow("GET") << QByteArray("GET") << 1;
        QTest::newRow("HEAD") << QByteArray("HEAD") << 2;
        QTest::newRow("POST") << QByteArray("POST") << 3;
        QTest::newRow("PUT") << QByteArray("PUT") << 4;
        QTest::newRow("OPTIONS") << QByteArray("OPTIONS") << 6;
        QTest::newRow("TRACE") << QByteArray("TRACE") << 7;
        QTest::newRow("PATCH") << QByteArray("PATCH") << 8;
    }

    void methods()
    {
        QFETCH(QByteArray, name);
        QFETCH(int, number);
        QCOMPARE(int(parsed(name + " / HTTP/1.1\r\nHost: a\r\n\r\n").method), number);
    }

    void connectNamesAnAuthority()
    {
        const RequestHead head = parsed("CONNECT a:80 HTTP/1.1\r\nHost: a:80\r\n\r\n");
        QCOMPARE(int(head.method), 5);
        QCOMPARE(text(head, head.target), QByteArray("a:80"));
    }

    void readsTheHead()
    {
        const RequestHead head = parsed("PUT /context/a?b=c HTTP/1.1\r\nHost: localhost:8480\r\n"
                                        "content-length: 7\r\nX:\r\nY: \tz \r\n\r\n");
        QCOMPARE(head.method, Method::Put);
        QCOMPARE(text(head, head.target), QByteArray("/context/a?b=c"));
        QCOMPARE(text(head, head.authority), QByteArray("localhost:8480"));
        QCOMPARE(head.contentLength, qint64(7));
        QCOMPARE(head.field("CONTENT-LENGTH"), QByteArray("7"));
        QCOMPARE(head.field("x"), QByteArray());
        QVERIFY(head.hasField("x"));
        QVERIFY(!head.hasField("z"));
        QCOMPARE(head.field("y"), QByteArray("z"));
        QVERIFY(head.keepAlive);
        QVERIFY(!head.http10);
        QVERIFY(!head.chunked);
        QVERIFY(!head.expectContinue);
    }

    void repeatedFieldsAreJoined()
    {
        const RequestHead head = parsed(withFields("A: 1\r\nB: x\r\na: 2\r\nA:\r\n"));
        QCOMPARE(head.field("A"), QByteArray("1, 2, "));
    }

    void absoluteTargetBringsItsAuthority()
    {
        const RequestHead head =
            parsed("GET http://localhost:1/a?b HTTP/1.1\r\nHost: other\r\n\r\n");
        QCOMPARE(text(head, head.target), QByteArray("/a?b"));
        QCOMPARE(text(head, head.authority), QByteArray("localhost:1"));
    }

    void persistence_data()
    {
        QTest::addColumn<QByteArray>("version");
        QTest::addColumn<QByteArray>("fields");
        QTest::addColumn<bool>("keepAlive");
        const QByteArray v10("HTTP/1.0");
        const QByteArray v11("HTTP/1.1");
        QTest::newRow("1.1") << v11 << QByteArray() << true;
        QTest::newRow("1.1 close") << v11 << QByteArray("Connection: close\r\n") << false;
        QTest::newRow("1.1 Close in a list")
            << v11 << QByteArray("Connection: x, Close\r\n") << false;
        QTest::newRow("1.0") << v10 << QByteArray() << false;
        QTest::newRow("1.0 keep-alive") << v10 << QByteArray("Connection: Keep-Alive\r\n") << true;
        QTest::newRow("1.0 both") << v10
                                  << QByteArray("Connection: keep-alive\r\nConnection: close\r\n")
                                  << false;
    }

    void persistence()
    {
        QFETCH(QByteArray, version);
        QFETCH(QByteArray, fields);
        QFETCH(bool, keepAlive);
        QCOMPARE(parsed("GET / " + version + "\r\nHost: a\r\n" + fields + "\r\n").keepAlive,
                 keepAlive);
    }

    void expectContinueCountsInOneDotOneOnly()
    {
        QVERIFY(parsed(withFields("Expect: 100-Continue\r\n")).expectContinue);
        QVERIFY(
            !parsed("POST / HTTP/1.0\r\nHost: a\r\nExpect: 100-continue\r\n\r\n").expectContinue);
        QCOMPARE(statusOf(withFields("Expect: x\r\n")), 417);
    }

    void refusals_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<int>("status");
        const auto line = [](const char *row, const QByteArray &requestLine, int status) {
            QTest::newRow(row) << requestLine + "\r\nHost: a\r\n\r\n" << status;
        };
        const auto field = [](const char *row, const QByteArray &fields, int status) {
            QTest::newRow(row) << withFields(fields) << status;
        };
        line("no version", "GET /", 400);
        line("two blanks", "GET  / HTTP/1.1", 400);
        line("blank in the target", "GET /a b HTTP/1.1", 400);
        line("blank behind the version", "GET / HTTP/1.1 ", 400);
        line("version in lower case", "GET / http/1.1", 400);
        line("version of three parts", "GET / HTTP/1.1.1", 400);
        line("CR behind the version", "GET / HTTP/1.1\r", 400);
        line("CR behind another version", "GET / HTTP/2.0\r", 400);
        line("version 0.9", "GET / HTTP/0.9", 505);
        line("version 1.2", "GET / HTTP/1.2", 505);
        line("version 2.0", "GET / HTTP/2.0", 505);
        line("unknown method", "BREW / HTTP/1.1", 501);
        line("method in lower case", "get / HTTP/1.1", 501);
        line("method that is no token", "G(T / HTTP/1.1", 400);
        line("target without a slash", "GET a HTTP/1.1", 400);
        line("asterisk for another method", "GET * HTTP/1.1", 400);
        line("asterisk for OPTIONS", "OPTIONS * HTTP/1.1", 0);
        line("fragment", "GET /a#b HTTP/1.1", 400);
        line("quote in the target", "GET /\" HTTP/1.1", 400);
        line("broken percent", "GET /%4 HTTP/1.1", 400);
        line("absolute target", "GET http://a/x HTTP/1.1", 0);
        line("absolute target without a path", "GET http://a HTTP/1.1", 0);
        line("absolute target with a user", "GET http://u@a/x HTTP/1.1", 400);
        line("absolute target of another scheme", "GET https://a/x HTTP/1.1", 421);
        line("CONNECT of a path", "CONNECT /x HTTP/1.1", 400);
        line("CONNECT without a port", "CONNECT a HTTP/1.1", 400);
        QTest::newRow("no Host") << QByteArray("GET / HTTP/1.1\r\n\r\n") << 400;
        QTest::newRow("no Host in 1.0") << QByteArray("GET / HTTP/1.0\r\n\r\n") << 400;
        field("second Host", "Host: localhost\r\n", 400);
        QTest::newRow("empty Host") << QByteArray("GET / HTTP/1.1\r\nHost:\r\n\r\n") << 400;
        QTest::newRow("Host with a path")
            << QByteArray("GET / HTTP/1.1\r\nHost: a/b\r\n\r\n") << 400;
        QTest::newRow("Host with a user")
            << QByteArray("GET / HTTP/1.1\r\nHost: u@a\r\n\r\n") << 400;
        field("fold", "A: b\r\n c\r\n", 400);
        field("fold of an empty value", "A:\r\n \r\n", 400);
        field("fold before the value", "A:\r\n b\r\n", 400);
        field("blank before the colon", "A : b\r\n", 400);
        field("no colon", "A\r\n", 400);
        field("empty name", ": b\r\n", 400);
        field("name that is no token", "A(b): c\r\n", 400);
        field("NUL in a value", QByteArray("A: b\0c\r\n", 8), 400);
        field("CR in a value", "A: b\rc\r\n", 400);
        field("DEL in a value", "A: b\x7f\r\n", 400);
        field("bytes beyond ASCII in a value", "A: \xc3\xa4\r\n", 0);
        field("length", "Content-Length: 5\r\n", 0);
        field("length twice, equal", "Content-Length: 5\r\nContent-Length: 5\r\n", 400);
        field("length twice, unequal", "Content-Length: 5\r\nContent-Length: 6\r\n", 400);
        field("list of lengths", "Content-Length: 5, 5\r\n", 400);
        field("signed length", "Content-Length: +5\r\n", 400);
        field("negative length", "Content-Length: -5\r\n", 400);
        field("hexadecimal length", "Content-Length: 0x5\r\n", 400);
        field("empty length", "Content-Length:\r\n", 400);
        field("length with a blank", "Content-Length: 5 5\r\n", 400);
        const QByteArray beyond = "Content-Length: 184467440737095516150\r\n";
        field("length of the most that 64 bits hold", "Content-Length: 18446744073709551615\r\n",
              413);
        field("length beyond 64 bits", beyond, 413);
        field("length of many zeros", "Content-Length: " + QByteArray(100, '0') + "5\r\n", 0);
        field("length beyond 64 bits twice", beyond + beyond, 400);
        field("length beyond 64 bits, then chunked", beyond + "Transfer-Encoding: chunked\r\n",
              400);
        field("chunked, then length beyond 64 bits", "Transfer-Encoding: chunked\r\n" + beyond,
              400);
        field("negative length beyond 64 bits", "Content-Length: -184467440737095516150\r\n", 400);
        field("chunked", "Transfer-Encoding: chunked\r\n", 0);
        field("Chunked", "Transfer-Encoding: CHUNKED\r\n", 0);
        field("chunked and a length", "Transfer-Encoding: chunked\r\nContent-Length: 5\r\n", 400);
        field("a length and chunked", "Content-Length: 5\r\nTransfer-Encoding: chunked\r\n", 400);
        field("gzip and a length", "Transfer-Encoding: gzip\r\nContent-Length: 5\r\n", 400);
        field("chunked, gzip", "Transfer-Encoding: chunked, gzip\r\n", 400);
        field("gzip, chunked", "Transfer-Encoding: gzip, chunked\r\n", 501);
        field("gzip then chunked", "Transfer-Encoding: gzip\r\nTransfer-Encoding: chunked\r\n",
              501);
        field("chunked twice", "Transfer-Encoding: chunked\r\nTransfer-Encoding: chunked\r\n", 400);
        field("chunked, chunked", "Transfer-Encoding: chunked, chunked\r\n", 400);
        field("identity", "Transfer-Encoding: identity\r\n", 400);
        field("xchunked", "Transfer-Encoding: xchunked\r\n", 400);
        field("empty coding", "Transfer-Encoding:\r\n", 400);
        field("chunked with a parameter", "Transfer-Encoding: chunked;q=1\r\n", 400);
        field("nothing, then chunked", "Transfer-Encoding: , chunked\r\n", 400);
        field("chunked, then nothing", "Transfer-Encoding: chunked,\r\n", 400);
        QTest::newRow("coding in 1.0")
            << QByteArray("POST / HTTP/1.0\r\nHost: a\r\nTransfer-Encoding: chunked\r\n\r\n")
            << 400;
    }

    void refusals()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(int, status);
        QCOMPARE(statusOf(bytes), status);
    }

    void chunkedBodies_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<QByteArray>("body");
        QTest::newRow("empty") << QByteArray("0\r\n\r\n") << QByteArray();
        QTest::newRow("one") << QByteArray("5\r\nhello\r\n0\r\n\r\n") << QByteArray("hello");
        QTest::newRow("two") << QByteArray("1\r\na\r\n0002\r\nbc\r\n000\r\n\r\n")
                             << QByteArray("abc");
        QTest::newRow("hexadecimal")
            << QByteArray("A\r\n0123456789\r\n0\r\n\r\n") << QByteArray("0123456789");
        QTest::newRow("line ends inside")
            << QByteArray("4\r\n\r\n\r\n\r\n0\r\n\r\n") << QByteArray("\r\n\r\n");
        QTest::newRow("extensions")
            << QByteArray("1;a=b;c=\"d e\"\r\nx\r\n0;z\r\n\r\n") << QByteArray("x");
        QTest::newRow("trailers") << QByteArray("1\r\nx\r\n0\r\nHost: evil\r\nA: b\r\n\r\n")
                                  << QByteArray("x");
    }

    void chunkedBodies()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(QByteArray, body);
        for (const int step : {1, 2, 3, 7, 1000}) {
            const Decoded decoded = decode(bytes, step);
            QCOMPARE(decoded.status, 0);
            QVERIFY(decoded.complete);
            QCOMPARE(decoded.body, body);
            QVERIFY(decoded.rest.isEmpty());
        }
    }

    void whatFollowsAChunkedBodyIsLeft()
    {
        const Decoded decoded = decode("1\r\nx\r\n0\r\n\r\nGET /", 1000);
        QVERIFY(decoded.complete);
        QCOMPARE(decoded.rest, QByteArray("GET /"));
    }

    void trailersAreNoHeaderFields()
    {
        RequestParser parser(bodyLimit);
        RequestHead head;
        QVERIFY(!parser.parseHead(withFields("Transfer-Encoding: chunked\r\n"), &head));
        const QByteArray bytes("0\r\nA: b\r\n\r\n");
        QByteArray body;
        std::size_t used = 0;
        bool complete = false;
        QVERIFY(!parser.parseChunked(bytes.constData(), std::size_t(bytes.size()), &body, &used,
                                     &complete));
        QVERIFY(complete);
        QVERIFY(!head.hasField("A"));
    }

    void badChunks_data()
    {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<int>("status");
        QTest::newRow("no size") << QByteArray("\r\nhello\r\n") << 400;
        QTest::newRow("size of letters") << QByteArray("xyz\r\nhello\r\n") << 400;
        QTest::newRow("size with a prefix") << QByteArray("0x5\r\nhello\r\n0\r\n\r\n") << 400;
        QTest::newRow("negative size") << QByteArray("-5\r\nhello\r\n") << 400;
        QTest::newRow("blank behind the size") << QByteArray("5 \r\nhello\r\n") << 400;
        QTest::newRow("size beyond 64 bits") << QByteArray("10000000000000005\r\nhello\r\n") << 413;
        QTest::newRow("size beyond 64 bits with an extension")
            << QByteArray("00FFFFFFFFFFFFFFFFF;a\r\nhello\r\n") << 413;
        QTest::newRow("second size beyond 64 bits")
            << QByteArray("1\r\nx\r\n10000000000000005\r\nhello\r\n") << 413;
        QTest::newRow("size beyond 64 bits that is none")
            << QByteArray("10000000000000005x\r\nhello\r\n") << 400;
        QTest::newRow("data longer than its size that look like a size beyond 64 bits")
            << QByteArray("1\r\nx10000000000000005\r\nhello\r\n") << 400;
        QTest::newRow("a line end before the first size, which is beyond 64 bits")
            << QByteArray("\r\n10000000000000005\r\nhello\r\n") << 400;
        QTest::newRow("size beyond the limit") << QByteArray("65\r\nhello\r\n") << 413;
        QTest::newRow("sum beyond the limit")
            << QByteArray("3\r\nabc\r\n62\r\n" + QByteArray(98, 'x') + "\r\n") << 413;
        QTest::newRow("bare LF behind the size") << QByteArray("5\nhello\r\n0\r\n\r\n") << 400;
        QTest::newRow("no CR LF behind the data") << QByteArray("5\r\nhelloXX0\r\n\r\n") << 400;
        QTest::newRow("bare LF behind the data") << QByteArray("5\r\nhello\n0\r\n\r\n\r\n") << 400;
        QTest::newRow("LF in an extension") << QByteArray("5;a=\"\n\"\r\nhello\r\n") << 400;
        QTest::newRow("CR LF in a quoted extension")
            << QByteArray("5;a=\"\r\n\"\r\nhello\r\n0\r\n\r\n") << 400;
        QTest::newRow("bad extension") << QByteArray("5;=b\r\nhello\r\n") << 400;
        QTest::newRow("many extension bytes")
            << QByteArray("1;" + QByteArray(9000, 'a') + "\r\nx\r\n1;" + QByteArray(9000, 'a') +
                          "\r\nx\r\n")
            << 400;
        QTest::newRow("folded trailer") << QByteArray("0\r\nA: b\r\n c\r\n\r\n") << 400;
        QTest::newRow("trailer without a colon") << QByteArray("0\r\nA\r\n\r\n") << 400;
    }

    void badChunks()
    {
        QFETCH(QByteArray, bytes);
        QFETCH(int, status);
        QCOMPARE(decode(bytes, 100000).status, status);
        QCOMPARE(decode(bytes, 1).status, status);
    }
};

QTEST_APPLESS_MAIN(TestRequestParser)
#include "tst_requestparser.moc"
