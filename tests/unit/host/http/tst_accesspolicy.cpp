#include "http/accesspolicy.h"
#include "http/requestparser.h"

#include <QtTest/QtTest>

using namespace host;

class TestAccessPolicy : public QObject
{
    Q_OBJECT

    static RequestHead head(const QByteArray &line, const QByteArray &fields)
    {
        RequestParser parser(0);
        RequestHead parsed;
        const Refusal refusal = parser.parseHead(line + " HTTP/1.1\r\n" + fields + "\r\n", &parsed);
        if (refusal)
            qFatal("%s", refusal.reason.constData());
        return parsed;
    }

    static int statusOf(const AccessPolicy &policy, const QByteArray &line,
                        const QByteArray &fields)
    {
        return policy.check(head(line, fields)).status;
    }

    static AccessPolicy policy()
    {
        AccessPolicy made;
        made.hosts = QStringList{QStringLiteral("10.0.0.7"), QStringLiteral("ws7.example")};
        made.origins = QStringList{QStringLiteral("https://app.example")};
        return made;
    }

private Q_SLOTS:
    void hosts_data()
    {
        QTest::addColumn<QByteArray>("host");
        QTest::addColumn<int>("status");
        for (const char *good : {"localhost", "LOCALHOST:1", "127.0.0.1", "127.0.0.1:8480", "[::1]",
                                 "[::1]:8480", "10.0.0.7", "ws7.example:99", "WS7.example"}) {
            QTest::newRow(good) << QByteArray(good) << 0;
        }
        for (const char *bad : {"evil.example", "localhost.evil.example", "127.0.0.2", "[::2]",
                                "localhost.", "xlocalhost"}) {
            QTest::newRow(bad) << QByteArray(bad) << 421;
        }
    }

    void hosts()
    {
        QFETCH(QByteArray, host);
        QFETCH(int, status);
        QCOMPARE(statusOf(policy(), "GET /", "Host: " + host + "\r\n"), status);
    }

    void anAbsoluteTargetsHostCounts()
    {
        QCOMPARE(statusOf(policy(), "GET http://localhost/", "Host: evil\r\n"), 0);
        QCOMPARE(statusOf(policy(), "GET http://evil/", "Host: localhost\r\n"), 421);
    }

    void origins_data()
    {
        QTest::addColumn<QByteArray>("host");
        QTest::addColumn<QByteArray>("origin");
        QTest::addColumn<int>("status");
        const QByteArray local("localhost:8480");
        QTest::newRow("own") << local << QByteArray("http://localhost:8480") << 0;
        QTest::newRow("own, other case") << local << QByteArray("HTTP://LocalHost:8480") << 0;
        QTest::newRow("own, default port")
            << QByteArray("localhost:80") << QByteArray("http://localhost") << 0;
        QTest::newRow("another port") << local << QByteArray("http://localhost:3000") << 403;
        QTest::newRow("another name of this machine")
            << local << QByteArray("http://127.0.0.1:8480") << 403;
        QTest::newRow("another scheme") << local << QByteArray("https://localhost:8480") << 403;
        QTest::newRow("allowed") << local << QByteArray("https://app.example") << 0;
        QTest::newRow("allowed, its port named")
            << local << QByteArray("https://app.example:443") << 0;
        QTest::newRow("foreign") << local << QByteArray("https://evil.example") << 403;
        QTest::newRow("null") << local << QByteArray("null") << 403;
        QTest::newRow("empty") << local << QByteArray() << 403;
    }

    void origins()
    {
        QFETCH(QByteArray, host);
        QFETCH(QByteArray, origin);
        QFETCH(int, status);
        QCOMPARE(statusOf(policy(), "GET /", "Host: " + host + "\r\nOrigin: " + origin + "\r\n"),
                 status);
    }

    void twoOriginsAreForeign()
    {
        QCOMPARE(statusOf(policy(), "GET /",
                          "Host: localhost\r\nOrigin: https://app.example\r\n"
                          "Origin: https://app.example\r\n"),
                 403);
    }

    void tokens_data()
    {
        QTest::addColumn<QByteArray>("line");
        QTest::addColumn<QByteArray>("fields");
        QTest::addColumn<int>("status");
        const QByteArray get("GET /context/a");
        QTest::newRow("none") << get << QByteArray() << 401;
        QTest::newRow("right") << get << QByteArray("Authorization: Bearer s3cret\r\n") << 0;
        QTest::newRow("scheme in lower case")
            << get << QByteArray("Authorization: bearer s3cret\r\n") << 0;
        QTest::newRow("wrong") << get << QByteArray("Authorization: Bearer s3creT\r\n") << 401;
        QTest::newRow("shorter") << get << QByteArray("Authorization: Bearer s3cre\r\n") << 401;
        QTest::newRow("longer") << get << QByteArray("Authorization: Bearer s3crets3cret\r\n")
                                << 401;
        QTest::newRow("empty") << get << QByteArray("Authorization: Bearer \r\n") << 401;
        QTest::newRow("another scheme")
            << get << QByteArray("Authorization: Basic s3cret\r\n") << 401;
        QTest::newRow("twice") << get
                               << QByteArray("Authorization: Bearer s3cret\r\n"
                                             "Authorization: Bearer s3cret\r\n")
                               << 401;
        QTest::newRow("health") << QByteArray("GET /health") << QByteArray() << 0;
        QTest::newRow("posted health") << QByteArray("POST /health") << QByteArray() << 401;
        QTest::newRow("below health") << QByteArray("GET /health/x") << QByteArray() << 401;
        QTest::newRow("preflight") << QByteArray("OPTIONS /context")
                                   << QByteArray("Origin: https://app.example\r\n"
                                                 "Access-Control-Request-Method: PUT\r\n")
                                   << 0;
        QTest::newRow("plain OPTIONS") << QByteArray("OPTIONS /context") << QByteArray() << 401;
    }

    void tokens()
    {
        QFETCH(QByteArray, line);
        QFETCH(QByteArray, fields);
        QFETCH(int, status);
        AccessPolicy guarded = policy();
        guarded.token = "s3cret";
        QCOMPARE(statusOf(guarded, line, "Host: localhost\r\n" + fields), status);
    }

    void anAllowedOriginGetsCorsHeaders()
    {
        const QByteArray lines =
            policy().corsHeaders(head("GET /", "Host: a\r\nOrigin: https://app.example\r\n"));
        QVERIFY(lines.contains("Access-Control-Allow-Origin: https://app.example\r\n"));
        QVERIFY(lines.contains("Vary: Origin\r\n"));
        QVERIFY(lines.endsWith("\r\n"));
    }

    void otherOriginsGetNone()
    {
        QCOMPARE(policy().corsHeaders(head("GET /", "Host: a\r\n")), QByteArray());
        QCOMPARE(policy().corsHeaders(head("GET /", "Host: a\r\nOrigin: http://a\r\n")),
                 QByteArray());
    }

    void aPreflightIsToldWhatItAskedFor()
    {
        const RequestHead asked =
            head("OPTIONS /context/a", "Host: a\r\nOrigin: https://app.example\r\n"
                                       "Access-Control-Request-Method: PUT\r\n"
                                       "Access-Control-Request-Headers: content-type\r\n"
                                       "Access-Control-Request-Private-Network: true\r\n");
        QVERIFY(AccessPolicy::isPreflight(asked));
        const QByteArray lines = AccessPolicy::preflightHeaders(asked);
        QVERIFY(lines.contains("Access-Control-Allow-Methods: GET, HEAD, POST, PUT, DELETE\r\n"));
        QVERIFY(lines.contains("Access-Control-Allow-Headers: content-type\r\n"));
        QVERIFY(lines.contains("Access-Control-Allow-Private-Network: true\r\n"));
        QVERIFY(!AccessPolicy::isPreflight(head("OPTIONS /", "Host: a\r\nOrigin: http://a\r\n")));
    }
};

QTEST_APPLESS_MAIN(TestAccessPolicy)
#include "tst_accesspolicy.moc"
