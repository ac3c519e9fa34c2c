#include "http/requestparser.h"
#include "http/serverrequest.h"

#include <QtTest/QtTest>

using namespace host;

class TestServerRequest : public QObject
{
    Q_OBJECT

    static ServerRequest request(const QByteArray &line, const QByteArray &fields = {})
    {
        RequestParser parser(100);
        RequestHead head;
        const Refusal refusal =
            parser.parseHead(line + " HTTP/1.1\r\nHost: a\r\n" + fields + "\r\n", &head);
        if (refusal)
            qFatal("%s", refusal.reason.constData());
        return ServerRequest(std::move(head), QByteArrayLiteral("body"));
    }

private Q_SLOTS:
    void theUrlIsRelative_data()
    {
        QTest::addColumn<QByteArray>("target");
        QTest::addColumn<QString>("path");
        QTest::addColumn<QString>("query");
        const auto row = [](const char *target, const char *path, const char *query) {
            QTest::newRow(target) << QByteArray(target) << QString::fromUtf8(path)
                                  << QString::fromUtf8(query);
        };
        row("/", "/", "");
        row("/context/abc", "/context/abc", "");
        row("/context/abc?x=1", "/context/abc", "x=1");
        row("/a:b", "/a:b", "");
        row("//evil/context/abc?x", "//evil/context/abc", "x");
        row("//a%20b?c%20d", "//a b", "c%20d");
        row("/context/a%2520b", "/context/a%20b", "");
        row("http://localhost/x?y", "/x", "y");
        row("http://localhost", "/", "");
        row("http://localhost?y", "/", "y");
    }

    void theUrlIsRelative()
    {
        QFETCH(QByteArray, target);
        QFETCH(QString, path);
        QFETCH(QString, query);
        const ServerRequest made = request("GET " + target);
        QCOMPARE(made.url().path(QUrl::FullyDecoded), path);
        QCOMPARE(made.url().query(QUrl::FullyEncoded), query);
        QVERIFY(made.url().scheme().isEmpty());
        QVERIFY(made.url().host().isEmpty());
    }

    void headersAreFoundWhateverTheirCase()
    {
        const ServerRequest made = request("GET /", "content-TYPE: a\r\nX: \xc3\xa4\r\nx: b\r\n");
        QCOMPARE(made.header(QStringLiteral("Content-Type")), QStringLiteral("a"));
        QCOMPARE(made.header(QStringLiteral("X")), QString::fromUtf8("\xc3\xa4, b"));
        QCOMPARE(made.header(QStringLiteral("Prefer")), QString());
    }

    void methodAndBody()
    {
        const ServerRequest made = request("PUT /");
        QCOMPARE(made.method(), http::server::Request::Put);
        QCOMPARE(made.body(), QByteArray("body"));
    }
};

QTEST_APPLESS_MAIN(TestServerRequest)
#include "tst_serverrequest.moc"
