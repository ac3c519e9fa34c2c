#include "support/eventstream.h"
#include "support/healthcounts.h"
#include "support/hostprocess.h"
#include "support/httpclient.h"

#include <QtTest/QTest>

using namespace support;

namespace {

const char allowedOrigin[] = "https://app.example";
const char token[] = "s3cret-Token_of.the~ward";

HttpFields preflightFields(const QByteArray &origin)
{
    return {{"Origin", origin},
            {"Access-Control-Request-Method", "PUT"},
            {"Access-Control-Request-Headers", "authorization, content-type"}};
}

} // namespace

/// Who may call: the names in Host, web origins, the bearer token.
class CallersTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void cleanupTestCase();

    void hostNamesOfThisMachineAreServed_data();
    void hostNamesOfThisMachineAreServed();
    void foreignHostNamesAre421_data();
    void foreignHostNamesAre421();
    void allowedHostNamesAreServed_data();
    void allowedHostNamesAreServed();
    void listenAddressIsServed();

    void foreignOriginsAre403_data();
    void foreignOriginsAre403();
    void ownOriginIsServedWithoutCorsFields();
    void allowedOriginGetsCorsFields_data();
    void allowedOriginGetsCorsFields();
    void allowedOriginGetsCorsFieldsOnALateAnswer();
    void allowedOriginGetsCorsFieldsOnTheStream();
    void preflightOfAnAllowedOriginIsAnswered();
    void preflightForThePrivateNetworkIsAnswered();
    void preflightOfAForeignOriginIs403();

    void requestWithoutTheTokenIs401_data();
    void requestWithoutTheTokenIs401();
    void requestWithTheTokenIsServed();
    void healthNeedsNoToken();
    void preflightNeedsNoToken();
    void hostIsCheckedBeforeTheToken();

    void listeningBeyondLoopbackWithoutATokenWarns();

private:
    /// An answer on a connection of its own.
    static HttpResponse ask(const HostProcess &host, const QByteArray &method,
                            const QByteArray &target, const HttpFields &fields = {});
    static int statusFor(const HostProcess &host, const QByteArray &hostField);

    std::unique_ptr<HostProcess> m_plain;
    std::unique_ptr<HostProcess> m_allowing; ///< with a further name and a web origin
    std::unique_ptr<HostProcess> m_guarded;  ///< with a token, too
};

void CallersTest::initTestCase()
{
    m_plain = std::make_unique<HostProcess>();
    QVERIFY(m_plain->start());

    HostSetup setup;
    setup.options << QStringLiteral("--allow-host") << QStringLiteral("ward3.example")
                  << QStringLiteral("--allow-host") << QStringLiteral("ward4.example")
                  << QStringLiteral("--allow-origin") << QString::fromLatin1(allowedOrigin);
    m_allowing = std::make_unique<HostProcess>(setup);
    QVERIFY(m_allowing->start());

    setup.options << QStringLiteral("--token-file") << QStringLiteral("token");
    m_guarded = std::make_unique<HostProcess>(setup);
    QVERIFY(m_guarded->writeFile(QStringLiteral("home/token"),
                                 QByteArray(token) + "\r\nnot the token\n"));
    QVERIFY(m_guarded->start());
}

void CallersTest::cleanupTestCase()
{
    m_plain.reset();
    m_allowing.reset();
    m_guarded.reset();
}

HttpResponse CallersTest::ask(const HostProcess &host, const QByteArray &method,
                              const QByteArray &target, const HttpFields &fields)
{
    HttpClient client(host.port());
    return client.exchange(method, target, fields);
}

int CallersTest::statusFor(const HostProcess &host, const QByteArray &hostField)
{
    HttpClient client(host.port());
    client.send("GET /health HTTP/1.1\r\nHost: " + hostField + "\r\n\r\n");
    const HttpResponse response = client.readResponse();
    const bool isExplained = response.body.count('\n') == 1 && response.body.contains("Host");
    return response.status == 421 && !isExplained ? 0 : response.status;
}

void CallersTest::hostNamesOfThisMachineAreServed_data()
{
    QTest::addColumn<QByteArray>("name");
    for (const char *name : {"localhost", "LocalHost", "localhost:8480", "localhost:", "127.0.0.1",
                             "127.0.0.1:1", "[::1]", "[::1]:65535"})
        QTest::newRow(name) << QByteArray(name);
}

void CallersTest::hostNamesOfThisMachineAreServed()
{
    QFETCH(QByteArray, name);
    QCOMPARE(statusFor(*m_plain, name), 200);
}

void CallersTest::foreignHostNamesAre421_data()
{
    QTest::addColumn<QByteArray>("name");
    for (const char *name : {"evil.example", "evil.example:8480", "localhost.evil.example",
                             "notlocalhost", "127.0.0.1.evil.example", "127.0.0.2", "0.0.0.0",
                             "2130706433", "[::2]", "[::]", "ward3.example", "local%68ost"})
        QTest::newRow(name) << QByteArray(name);
}

void CallersTest::foreignHostNamesAre421()
{
    QFETCH(QByteArray, name);
    QCOMPARE(statusFor(*m_plain, name), 421);
}

void CallersTest::allowedHostNamesAreServed_data()
{
    QTest::addColumn<QByteArray>("name");
    QTest::addColumn<int>("status");
    QTest::newRow("the first") << QByteArray("ward3.example") << 200;
    QTest::newRow("the second, with a port") << QByteArray("ward4.example:80") << 200;
    QTest::newRow("in capitals") << QByteArray("WARD3.Example") << 200;
    QTest::newRow("a loopback name") << QByteArray("localhost") << 200;
    QTest::newRow("a name below an allowed one") << QByteArray("x.ward3.example") << 421;
    QTest::newRow("another name") << QByteArray("ward5.example") << 421;
}

void CallersTest::allowedHostNamesAreServed()
{
    QFETCH(QByteArray, name);
    QFETCH(int, status);
    QCOMPARE(statusFor(*m_allowing, name), status);
}

void CallersTest::listenAddressIsServed()
{
    HostSetup setup;
    setup.listen = QStringList{QStringLiteral("127.0.0.5:0")};
    HostProcess host(setup);
    QVERIFY(host.start());
    HttpClient client(host.port(), "127.0.0.5");
    client.send("GET /health HTTP/1.1\r\nHost: 127.0.0.5\r\n\r\n");
    QCOMPARE(client.readResponse().status, 200);
    client.send("GET /health HTTP/1.1\r\nHost: 127.0.0.6\r\n\r\n");
    QCOMPARE(client.readResponse().status, 421);
}

void CallersTest::foreignOriginsAre403_data()
{
    QTest::addColumn<QByteArray>("origin");
    for (const char *origin :
         {"http://evil.example", "https://app.example.evil.example", "null", "",
          "http://app.example", "https://app.example:8443", "http://localhost:1",
          "https://localhost", "http://127.0.0.1", "https://app.example, http://localhost"})
        QTest::newRow(origin) << QByteArray(origin);
}

void CallersTest::foreignOriginsAre403()
{
    QFETCH(QByteArray, origin);
    const HttpResponse response = ask(*m_allowing, "GET", "/health", {{"Origin", origin}});
    QCOMPARE(response.status, 403);
    QCOMPARE(response.body.count('\n'), 1);
    QCOMPARE(response.count("Access-Control-Allow-Origin"), 0);
}

void CallersTest::ownOriginIsServedWithoutCorsFields()
{
    const QByteArray authority = "localhost:" + QByteArray::number(m_plain->port());
    HttpClient client(m_plain->port());
    client.send("GET /health HTTP/1.1\r\nHost: " + authority + "\r\nOrigin: http://" + authority +
                "\r\n\r\n");
    const HttpResponse response = client.readResponse();
    QCOMPARE(response.status, 200);
    QCOMPARE(response.count("Access-Control-Allow-Origin"), 0);
}

void CallersTest::allowedOriginGetsCorsFields_data()
{
    QTest::addColumn<QByteArray>("method");
    QTest::addColumn<QByteArray>("target");
    QTest::addColumn<int>("status");
    QTest::newRow("the host's own route") << QByteArray("GET") << QByteArray("/health") << 200;
    QTest::newRow("the module's answer") << QByteArray("GET") << QByteArray("/context/x") << 404;
    QTest::newRow("no route") << QByteArray("GET") << QByteArray("/nothing") << 404;
    QTest::newRow("a wrong method") << QByteArray("PUT") << QByteArray("/health") << 405;
}

void CallersTest::allowedOriginGetsCorsFields()
{
    QFETCH(QByteArray, method);
    QFETCH(QByteArray, target);
    QFETCH(int, status);
    const HttpResponse response = ask(*m_allowing, method, target, {{"Origin", allowedOrigin}});
    QCOMPARE(response.status, status);
    QCOMPARE(response.field("Access-Control-Allow-Origin"), QByteArray(allowedOrigin));
    QCOMPARE(response.field("Vary"), QByteArray("Origin"));
    QCOMPARE(ask(*m_allowing, method, target).count("Access-Control-Allow-Origin"), 0);
}

void CallersTest::allowedOriginGetsCorsFieldsOnALateAnswer()
{
    HttpClient other(m_allowing->port());
    const HealthCounts before = healthCounts(other);
    HttpClient poll(m_allowing->port());
    poll.send(requestBytes("GET", "/context/late/event", {{"Origin", allowedOrigin}}));
    QVERIFY(waitForCounts(other, before.plus(1)));
    QCOMPARE(other.exchange("PUT", "/context/late", {}, "{\"a\":1}").status, 201);
    const HttpResponse response = poll.readResponse();
    QCOMPARE(response.status, 200);
    QCOMPARE(response.field("Access-Control-Allow-Origin"), QByteArray(allowedOrigin));
    // The connection's next answer goes to whoever asks next.
    QCOMPARE(poll.exchange("GET", "/health").count("Access-Control-Allow-Origin"), 0);
}

void CallersTest::allowedOriginGetsCorsFieldsOnTheStream()
{
    const EventStream stream(m_allowing->port(), {}, {{"Origin", allowedOrigin}});
    QCOMPARE(stream.head().status, 200);
    QCOMPARE(stream.head().field("Access-Control-Allow-Origin"), QByteArray(allowedOrigin));
}

void CallersTest::preflightOfAnAllowedOriginIsAnswered()
{
    for (const char *target : {"/context/x", "/health", "/nothing", "*"}) {
        const HttpResponse response =
            ask(*m_allowing, "OPTIONS", target, preflightFields(allowedOrigin));
        QCOMPARE(response.status, 204);
        QCOMPARE(response.field("Access-Control-Allow-Origin"), QByteArray(allowedOrigin));
        QCOMPARE(response.field("Access-Control-Allow-Headers"),
                 QByteArray("authorization, content-type"));
        const QByteArray methods = response.field("Access-Control-Allow-Methods");
        for (const char *method : {"GET", "POST", "PUT", "DELETE"})
            QVERIFY2(methods.contains(method), methods.constData());
        QCOMPARE(response.count("Access-Control-Allow-Private-Network"), 0);
    }
}

void CallersTest::preflightForThePrivateNetworkIsAnswered()
{
    HttpFields fields = preflightFields(allowedOrigin);
    fields += qMakePair(QByteArray("Access-Control-Request-Private-Network"), QByteArray("true"));
    const HttpResponse response = ask(*m_allowing, "OPTIONS", "/context/x", fields);
    QCOMPARE(response.status, 204);
    QCOMPARE(response.field("Access-Control-Allow-Private-Network"), QByteArray("true"));
}

void CallersTest::preflightOfAForeignOriginIs403()
{
    const HttpResponse response =
        ask(*m_allowing, "OPTIONS", "/context/x", preflightFields("https://evil.example"));
    QCOMPARE(response.status, 403);
    QCOMPARE(response.count("Access-Control-Allow-Origin"), 0);
}

void CallersTest::requestWithoutTheTokenIs401_data()
{
    QTest::addColumn<HttpFields>("fields");
    const QByteArray right = token;
    QTest::newRow("none") << HttpFields{};
    QTest::newRow("another") << HttpFields{{"Authorization", "Bearer guessed"}};
    QTest::newRow("none in it") << HttpFields{{"Authorization", "Bearer "}};
    QTest::newRow("its start") << HttpFields{{"Authorization", "Bearer " + right.left(8)}};
    QTest::newRow("more than it") << HttpFields{{"Authorization", "Bearer " + right + "x"}};
    QTest::newRow("twice in a value") << HttpFields{{"Authorization", "Bearer " + right + right}};
    QTest::newRow("in small letters") << HttpFields{{"Authorization", "Bearer " + right.toLower()}};
    QTest::newRow("without scheme") << HttpFields{{"Authorization", right}};
    QTest::newRow("another scheme") << HttpFields{{"Authorization", "Basic " + right}};
    QTest::newRow("the file's second line")
        << HttpFields{{"Authorization", "Bearer not the token"}};
    QTest::newRow("two fields") << HttpFields{{"Authorization", "Bearer " + right},
                                              {"Authorization", "Bearer " + right}};
}

void CallersTest::requestWithoutTheTokenIs401()
{
    QFETCH(HttpFields, fields);
    HttpClient client(m_guarded->port());
    client.send(requestBytes("PUT", "/context/guarded", fields, "{}") +
                requestBytes("PUT", "/context/guarded", fields, "{}"));
    const HttpResponse response = client.readResponse();
    QCOMPARE(response.status, 401);
    QCOMPARE(response.field("WWW-Authenticate"), QByteArray("Bearer"));
    QVERIFY(client.endsHere());
    const HttpFields right{{"Authorization", QByteArray("Bearer ") + token}};
    QCOMPARE(ask(*m_guarded, "GET", "/context/guarded", right).status, 404);
}

void CallersTest::requestWithTheTokenIsServed()
{
    for (const char *scheme : {"Bearer ", "bearer ", "BEARER "}) {
        const HttpFields fields{{"Authorization", QByteArray(scheme) + token}};
        QCOMPARE(ask(*m_guarded, "GET", "/exchange/nothing", fields).status, 404);
        QCOMPARE(ask(*m_guarded, "POST", "/message", fields).status, 200);
    }
}

void CallersTest::healthNeedsNoToken()
{
    QCOMPARE(ask(*m_guarded, "GET", "/health").status, 200);
    QCOMPARE(ask(*m_guarded, "GET", "/health?x=1").status, 200);
    for (const char *target : {"/health/", "/healthy", "/", "/exchange/chunks", "/health%2e"})
        QCOMPARE(ask(*m_guarded, "GET", target).status, 401);
    QCOMPARE(ask(*m_guarded, "POST", "/health").status, 401);
}

void CallersTest::preflightNeedsNoToken()
{
    QCOMPARE(ask(*m_guarded, "OPTIONS", "/context/x", preflightFields(allowedOrigin)).status, 204);
    QCOMPARE(ask(*m_guarded, "OPTIONS", "/context/x", {{"Origin", allowedOrigin}}).status, 401);
    QCOMPARE(
        ask(*m_guarded, "OPTIONS", "/context/x", preflightFields("http://evil.example")).status,
        403);
    const HttpResponse refused = ask(*m_guarded, "PUT", "/context/x", {{"Origin", allowedOrigin}});
    QCOMPARE(refused.status, 401);
    QCOMPARE(refused.field("Access-Control-Allow-Origin"), QByteArray(allowedOrigin));
}

void CallersTest::hostIsCheckedBeforeTheToken()
{
    QCOMPARE(statusFor(*m_guarded, "evil.example"), 421);
}

void CallersTest::listeningBeyondLoopbackWithoutATokenWarns()
{
    HostSetup setup;
    setup.listen = QStringList{QStringLiteral("0.0.0.0:0")};
    {
        HostProcess host(setup);
        QVERIFY(host.start());
        QCOMPARE(host.log().count("without a token"), 1);
    }
    setup.options << QStringLiteral("--token-file") << QStringLiteral("token");
    HostProcess guarded(setup);
    QVERIFY(guarded.writeFile(QStringLiteral("home/token"), token));
    QVERIFY(guarded.start());
    QCOMPARE(guarded.log().count("without a token"), 0);
    QCOMPARE(m_plain->log().count("without a token"), 0);
}

QTEST_GUILESS_MAIN(CallersTest)
#include "tst_callers.moc"
