#include "support/healthcounts.h"
#include "support/hostprocess.h"
#include "support/httpclient.h"

#include <QtTest/QTest>

#include <vector>

using namespace support;

/// What the host makes of a plug-in's controllers, tried with a plug-in whose controllers do
/// everything that the interface allows, and some of what it does not.
class ControllersTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void cleanupTestCase();
    void cleanup();

    void requestCarriesMethodTargetFieldsAndBody_data();
    void requestCarriesMethodTargetFieldsAndBody();
    void repeatedFieldsAreJoined();
    void targetOfTwoSlashesIsARelativeUrl();
    void absoluteTargetIsARelativeUrl();
    void firstHeadAndFirstEndGoOut();
    void answerWithoutAHeadIs200();
    void impossibleStatusIs500();
    void statusWithoutBodyCarriesNone();
    void fieldThatWouldBreakTheHeadIsLeftOut_data();
    void fieldThatWouldBreakTheHeadIsLeftOut();
    void fieldsOfTheServerAreItsOwn_data();
    void fieldsOfTheServerAreItsOwn();
    void fieldValuesAreUtf8();
    void exceptionIsAnswered500_data();
    void exceptionIsAnswered500();
    void exceptionAfterTheAnswerChangesNothing();
    void keptResponseIsAnsweredLater();
    void keptResponseOfAVanishedClientIsHarmless();
    void controllersMayDeleteThemselves();
    void largeAnswersArriveWhole();
    void clientThatDoesNotReadItsAnswerHoldsUpNobody();

private:
    HttpResponse get(const QByteArray &target) { return m_client->exchange("GET", target); }

    std::unique_ptr<HostProcess> m_host;
    std::unique_ptr<HttpClient> m_client;
    HealthCounts m_before;
};

void ControllersTest::initTestCase()
{
    HostSetup setup;
    setup.plugin = QStringLiteral(KAVO_TRIAL_PLUGIN);
    m_host = std::make_unique<HostProcess>(setup);
    QVERIFY(m_host->start());
    m_client = std::make_unique<HttpClient>(m_host->port());
    m_before = healthCounts(*m_client);
    QVERIFY(m_before.connections >= 0);
}

void ControllersTest::cleanupTestCase()
{
    m_client.reset();
    m_host.reset();
}

void ControllersTest::cleanup()
{
    QVERIFY(waitForCounts(*m_client, m_before));
}

void ControllersTest::requestCarriesMethodTargetFieldsAndBody_data()
{
    QTest::addColumn<int>("number");
    const char *const methods[] = {"DELETE",  "GET",     "HEAD",  "POST", "PUT",
                                   "CONNECT", "OPTIONS", "TRACE", "PATCH"};
    int number = 0;
    for (const char *method : methods)
        QTest::newRow(method) << number++;
}

void ControllersTest::requestCarriesMethodTargetFieldsAndBody()
{
    QFETCH(int, number);
    const QByteArray method = QTest::currentDataTag();
    const QByteArray target = method == "CONNECT" ? "localhost:80" : "/trial/echo?a=%20b&%C3%A4";
    const HttpResponse response =
        m_client->exchange(method, target, {{"X-ECHO", " M\xc3\xbcller "}},
                           "b\xc3\xb6"
                           "dy");
    if (method == "CONNECT") {
        QCOMPARE(response.status, 404); // no route has such a target
    } else if (method == "HEAD") {
        QCOMPARE(response.status, 200);
        QVERIFY(response.field("Content-Length").toInt() > 0);
    } else {
        const QJsonObject echo = response.json();
        QCOMPARE(echo.value(QLatin1String("method")).toInt(-1), number);
        QCOMPARE(echo.value(QLatin1String("url")).toString(), QString::fromLatin1(target));
        QCOMPARE(echo.value(QLatin1String("host")).toString(), QString());
        QCOMPARE(echo.value(QLatin1String("header")).toString(),
                 QString::fromUtf8("M\xc3\xbcller"));
        QCOMPARE(echo.value(QLatin1String("body")).toString(), QString::fromUtf8("b\xc3\xb6"
                                                                                 "dy"));
    }
}

void ControllersTest::repeatedFieldsAreJoined()
{
    const HttpResponse response = m_client->exchange(
        "GET", "/trial/echo", {{"X-Echo", "a"}, {"x-echo", ""}, {"X-ECHO", "b, c"}});
    QCOMPARE(response.json().value(QLatin1String("header")).toString(),
             QStringLiteral("a, , b, c"));
}

void ControllersTest::targetOfTwoSlashesIsARelativeUrl()
{
    const QJsonObject echo = get("//trial/echo?x=1").json();
    QCOMPARE(echo.value(QLatin1String("host")).toString(), QString());
}

void ControllersTest::absoluteTargetIsARelativeUrl()
{
    const QJsonObject echo = get("http://localhost:8480/trial/echo?x=1").json();
    QCOMPARE(echo.value(QLatin1String("url")).toString(), QStringLiteral("/trial/echo?x=1"));
    QCOMPARE(echo.value(QLatin1String("host")).toString(), QString());
}

void ControllersTest::firstHeadAndFirstEndGoOut()
{
    const HttpResponse response = get("/trial/twice");
    QCOMPARE(response.status, 201);
    QCOMPARE(response.body, QByteArray("first"));
    QCOMPARE(response.count("X-First"), 1);
    QCOMPARE(response.count("X-Late"), 0);
}

void ControllersTest::answerWithoutAHeadIs200()
{
    const HttpResponse response = get("/trial/no-head");
    QCOMPARE(response.status, 200);
    QCOMPARE(response.body, QByteArray("headless"));
}

void ControllersTest::impossibleStatusIs500()
{
    for (const char *code : {"0", "-1", "99", "100", "199", "1000"})
        QCOMPARE(get(QByteArray("/trial/status?code=") + code).status, 500);
    QCOMPARE(get("/trial/status?code=299").status, 299);
    QCOMPARE(get("/trial/status?code=999").status, 999);
}

void ControllersTest::statusWithoutBodyCarriesNone()
{
    for (const char *code : {"204", "304"}) {
        const HttpResponse response = get(QByteArray("/trial/status?code=") + code);
        QCOMPARE(QByteArray::number(response.status), QByteArray(code));
        QCOMPARE(get("/trial/no-head").body, QByteArray("headless"));
    }
}

void ControllersTest::fieldThatWouldBreakTheHeadIsLeftOut_data()
{
    QTest::addColumn<QByteArray>("query");
    QTest::newRow("CR LF in a value") << QByteArray("name=X-Trial&value=a%0D%0AInjected:%201");
    QTest::newRow("a second head in a value")
        << QByteArray("name=X-Trial&value=a%0D%0A%0D%0AHTTP/1.1%20200%20OK");
    QTest::newRow("LF in a value") << QByteArray("name=X-Trial&value=a%0AInjected:%201");
    QTest::newRow("CR in a value") << QByteArray("name=X-Trial&value=a%0DInjected:%201");
    QTest::newRow("NUL in a value") << QByteArray("name=X-Trial&value=a%00b");
    QTest::newRow("CR LF in a name") << QByteArray("name=X-Trial:a%0D%0AInjected&value=1");
    QTest::newRow("LF in a name") << QByteArray("name=X-Trial%0AInjected&value=1");
    QTest::newRow("a blank in a name") << QByteArray("name=X-Trial%20&value=1");
    QTest::newRow("a colon in a name") << QByteArray("name=X-Trial:&value=1");
    QTest::newRow("a letter beyond ASCII in a name") << QByteArray("name=X-Tri%C3%A4l&value=1");
    QTest::newRow("no name") << QByteArray("name=&value=1");
}

void ControllersTest::fieldThatWouldBreakTheHeadIsLeftOut()
{
    QFETCH(QByteArray, query);
    const QByteArray warning = "Leaving out a header field";
    const int warnings = m_host->log().count(warning);
    const HttpResponse response = get("/trial/header?" + query);
    QCOMPARE(response.status, 200);
    QCOMPARE(response.body, QByteArray("body"));
    for (const auto &field : response.fields) {
        QVERIFY2(!field.first.startsWith("X-") && field.first != "Injected",
                 field.first.constData());
    }
    QCOMPARE(m_host->log().count(warning), warnings + 1);
}

void ControllersTest::fieldsOfTheServerAreItsOwn_data()
{
    QTest::addColumn<QByteArray>("name");
    for (const char *name : {"Content-Length", "content-length", "Date", "Server"})
        QTest::newRow(name) << QByteArray(name);
}

void ControllersTest::fieldsOfTheServerAreItsOwn()
{
    QFETCH(QByteArray, name);
    const HttpResponse response = get("/trial/header?value=999&name=" + name);
    QCOMPARE(response.body, QByteArray("body"));
    QCOMPARE(response.count(name), 1);
    QVERIFY(response.field(name) != "999");
}

void ControllersTest::fieldValuesAreUtf8()
{
    QCOMPARE(get("/trial/header?name=X-Trial&value=M%C3%BCller").field("X-Trial"),
             QByteArray("M\xc3\xbcller"));
}

void ControllersTest::exceptionIsAnswered500_data()
{
    QTest::addColumn<QByteArray>("target");
    QTest::addColumn<QByteArray>("logged");
    QTest::newRow("at once") << QByteArray("/trial/throw") << QByteArray("trial at once");
    QTest::newRow("of another kind")
        << QByteArray("/trial/throw-a-number") << QByteArray("exception");
    QTest::newRow("after the head")
        << QByteArray("/trial/throw-after-head") << QByteArray("trial after the head");
}

void ControllersTest::exceptionIsAnswered500()
{
    QFETCH(QByteArray, target);
    QFETCH(QByteArray, logged);
    const HttpResponse response = get(target);
    QCOMPARE(response.status, 500);
    QCOMPARE(response.field("Content-Type"), QByteArray("text/plain"));
    QCOMPARE(response.count("X-Before"), 0);
    QVERIFY(!response.body.contains("trial"));
    QVERIFY(m_host->log().contains(logged));
    QCOMPARE(get("/trial/no-head").status, 200);
}

void ControllersTest::exceptionAfterTheAnswerChangesNothing()
{
    const HttpResponse response = get("/trial/throw-after-end");
    QCOMPARE(response.status, 200);
    QCOMPARE(response.body, QByteArray("sent"));
    QCOMPARE(get("/trial/no-head").status, 200);
    QVERIFY(m_host->log().contains("trial after the end"));
}

void ControllersTest::keptResponseIsAnsweredLater()
{
    HttpClient client(m_host->port());
    client.send(requestBytes("GET", "/trial/keep"));
    QVERIFY(waitForCounts(*m_client, m_before.plus(1)));
    QCOMPARE(get("/trial/answer-kept").body, QByteArray("answered"));
    QCOMPARE(client.readResponse().body, QByteArray("kept"));
}

void ControllersTest::keptResponseOfAVanishedClientIsHarmless()
{
    HttpClient client(m_host->port());
    client.send(requestBytes("GET", "/trial/keep"));
    QVERIFY(waitForCounts(*m_client, m_before.plus(1)));
    client.reset();
    QVERIFY(waitForCounts(*m_client, m_before));
    QCOMPARE(get("/trial/answer-kept").body, QByteArray("answered"));
}

void ControllersTest::controllersMayDeleteThemselves()
{
    for (int round = 0; round < 20; ++round) {
        QCOMPARE(get("/self/trial/twice").status, 201);
        QCOMPARE(get("/self/trial/throw").status, 500);
        QCOMPARE(get("/self/trial/throw-after-end").status, 200);
    }
}

void ControllersTest::largeAnswersArriveWhole()
{
    constexpr int size = 30 * 1000 * 1000;
    HttpClient client(m_host->port());
    client.send(requestBytes("GET", "/trial/large?size=" + QByteArray::number(size)) +
                requestBytes("GET", "/trial/no-head"));
    QCOMPARE(client.readResponse().body.size(), size);
    QCOMPARE(client.readResponse().body, QByteArray("headless"));
}

void ControllersTest::clientThatDoesNotReadItsAnswerHoldsUpNobody()
{
    HttpClient lazy(m_host->port());
    lazy.send(requestBytes("GET", "/trial/large?size=50000000"));
    std::vector<HttpClient> others;
    for (int i = 0; i < 20; ++i) {
        others.emplace_back(m_host->port());
        QCOMPARE(others.back().exchange("GET", "/trial/no-head").body, QByteArray("headless"));
    }
    QCOMPARE(lazy.readResponse().body.size(), 50000000);
}

QTEST_GUILESS_MAIN(ControllersTest)
#include "tst_controllers.moc"
