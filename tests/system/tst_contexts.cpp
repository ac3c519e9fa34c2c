#include "support/eventstream.h"
#include "support/healthcounts.h"
#include "support/hostprocess.h"
#include "support/httpclient.h"

#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>
#include <QtCore/QRegularExpression>
#include <QtTest/QTest>

using namespace support;

namespace {

const char *const noCacheFields[][2] = {{"Cache-Control", "no-cache, no-store, must-revalidate"},
                                        {"Pragma", "no-cache"},
                                        {"Expires", "0"}};

} // namespace

/// Contexts over real sockets: the plain routes, and clients that wait for a change.
class ContextsTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init() { QVERIFY(waitForCounts(*m_client, m_alone)); }
    void cleanupTestCase() { m_host.reset(); }

    void postMakesAContextThatGetPutAndDeleteReach();
    void postWithPlainTextAcceptedAnswersTheBareId();
    void getOfAnUnknownContextIs404WithoutBodyOrType();
    void putIs201ForANewContextAnd200AfterIt();
    void putWithACharsetParameterReachesNothing();
    void unroutedRequestsAre404WithALineOfText_data();
    void unroutedRequestsAre404WithALineOfText();
    void deleteOfAnUnknownContextIsOneCleanAnswer();
    void postOfInvalidJsonIsOneCleanAnswerAndMakesAContext();
    void latin1IsReadWhereTheContentTypeNamesIt();

    void pollIsAnsweredByAPutAtOnce();
    void firstPollOfAKnownContextIsAnsweredAtOnce();
    void pollWaitsForTheMemberThatPreferNames();
    void pollWithAnotherPreferenceWaitsForAnyChange();
    void pollIsNotAnsweredByAnotherContext();
    void pollIsAnswered404WhenTheContextIsDeleted();
    void pollOfAContextDeletedAndMadeAgainAtOnceIsAnsweredOnce_data();
    void pollOfAContextDeletedAndMadeAgainAtOnceIsAnsweredOnce();
    void pollOfAnUnknownContextIsAnsweredByItsCreation();
    void deleteOfAnEventIsNeverAnswered();
    void formIsHeldOpen();
    void immediateChangeWithoutTheMemberIsNeverAnswered();

private:
    HttpClient connected() const { return HttpClient(m_host->port()); }

    /// A context that was delivered already, so that the next poll of it waits.
    void storeDelivered(const QByteArray &id, const QByteArray &json = "{\"n\":0}");

    /// A client with this request, once the host holds it open.
    HttpClient parked(const QByteArray &request);

    /// Asserts that nothing came for a request that was held open, and lets its client go.
    void verifyHeldOpen(HttpClient *client);

    std::unique_ptr<HostProcess> m_host;
    std::unique_ptr<HttpClient> m_client;
    HealthCounts m_alone; ///< while there is no other client than `m_client`
};

void ContextsTest::initTestCase()
{
    m_host = std::make_unique<HostProcess>();
    QVERIFY(m_host->start());
    m_client = std::make_unique<HttpClient>(m_host->port());
    m_alone = healthCounts(*m_client);
    QCOMPARE(m_alone.connections, 1);
}

void ContextsTest::storeDelivered(const QByteArray &id, const QByteArray &json)
{
    QCOMPARE(m_client->exchange("PUT", "/context/" + id, {}, json).status, 201);
    QCOMPARE(m_client->exchange("GET", "/context/" + id + "/event").status, 200);
}

HttpClient ContextsTest::parked(const QByteArray &request)
{
    const HealthCounts before = healthCounts(*m_client);
    HttpClient client = connected();
    client.send(request);
    if (!waitForCounts(*m_client, before.plus(1)))
        QTest::qFail("The request is not held open", __FILE__, __LINE__);
    return client;
}

void ContextsTest::verifyHeldOpen(HttpClient *client)
{
    QVERIFY(!client->hasInput());
    const HealthCounts held = healthCounts(*m_client);
    QVERIFY(!client->hasInput());
    client->close();
    QVERIFY(waitForCounts(*m_client, held.plus(-1)));
}

void ContextsTest::postMakesAContextThatGetPutAndDeleteReach()
{
    const HttpResponse created = m_client->exchange(
        "POST", "/context", {{"Content-Type", "application/json"}}, "{\"patient\":{\"id\":\"7\"}}");
    QCOMPARE(created.status, 200);
    QCOMPARE(created.field("Content-Type"), QByteArray("application/json"));
    const QString id = created.json().value(QLatin1String("_id")).toString();
    QVERIFY(QRegularExpression(QStringLiteral("^[A-Za-z0-9]{16}$")).match(id).hasMatch());

    const QByteArray path = "/context/" + id.toLatin1();
    const HttpResponse read = m_client->exchange("GET", path);
    QCOMPARE(read.status, 200);
    QCOMPARE(read.field("Content-Type"), QByteArray("application/json"));
    QCOMPARE(read.json(), created.json());

    const HttpResponse merged =
        m_client->exchange("PUT", path, {{"Content-Type", "application/json"}}, "{\"a\":1}");
    QCOMPARE(merged.status, 200);
    QCOMPARE(merged.json().keys(),
             QStringList({QStringLiteral("_id"), QStringLiteral("a"), QStringLiteral("patient")}));

    const HttpResponse deleted = m_client->exchange("DELETE", path);
    QCOMPARE(deleted.status, 204);
    QCOMPARE(m_client->exchange("GET", path).status, 404);
}

void ContextsTest::postWithPlainTextAcceptedAnswersTheBareId()
{
    const HttpResponse created =
        m_client->exchange("POST", "/context", {{"Accept", "text/html, text/plain"}}, "{}");
    QCOMPARE(created.status, 200);
    QCOMPARE(created.field("Content-Type"), QByteArray("text/plain"));
    QCOMPARE(created.body.size(), 16);
    QCOMPARE(
        m_client->exchange("GET", "/context/" + created.body).json().value(QLatin1String("_id")),
        QJsonValue(QString::fromLatin1(created.body)));
}

void ContextsTest::getOfAnUnknownContextIs404WithoutBodyOrType()
{
    const HttpResponse response = m_client->exchange("GET", "/context/unknown");
    QCOMPARE(response.status, 404);
    QCOMPARE(response.body, QByteArray(""));
    QCOMPARE(response.count("Content-Type"), 0);
}

void ContextsTest::putIs201ForANewContextAnd200AfterIt()
{
    QCOMPARE(m_client->exchange("PUT", "/context/new", {}, "{\"a\":1}").status, 201);
    QCOMPARE(m_client->exchange("PUT", "/context/new", {}, "{\"a\":1}").status, 200);
    QCOMPARE(m_client->exchange("PUT", "/context/newarray", {}, "[1]").status, 201);
}

void ContextsTest::putWithACharsetParameterReachesNothing()
{
    const HttpResponse response = m_client->exchange(
        "PUT", "/context/charset", {{"Content-Type", "application/json; charset=utf-8"}}, "{}");
    QCOMPARE(response.status, 404);
    QCOMPARE(m_client->exchange("GET", "/context/charset").status, 404);
}

void ContextsTest::unroutedRequestsAre404WithALineOfText_data()
{
    QTest::addColumn<QByteArray>("method");
    QTest::addColumn<QByteArray>("target");
    QTest::newRow("an unknown path") << QByteArray("GET") << QByteArray("/nothing");
    QTest::newRow("a query behind a context")
        << QByteArray("GET") << QByteArray("/context/new?x=1");
    QTest::newRow("POST of a context") << QByteArray("POST") << QByteArray("/context/new");
    QTest::newRow("HEAD of a context") << QByteArray("HEAD") << QByteArray("/context/new");
    QTest::newRow("GET of /message") << QByteArray("GET") << QByteArray("/message");
    QTest::newRow("a slash behind /message/event")
        << QByteArray("GET") << QByteArray("/message/event/");
    QTest::newRow("PATCH of a context") << QByteArray("PATCH") << QByteArray("/context/new");
    QTest::newRow("a path of two slashes") << QByteArray("GET") << QByteArray("//context/new");
}

void ContextsTest::unroutedRequestsAre404WithALineOfText()
{
    QFETCH(QByteArray, method);
    QFETCH(QByteArray, target);
    const HttpResponse response = m_client->exchange(method, target);
    QCOMPARE(response.status, 404);
    QCOMPARE(response.field("Content-Type"), QByteArray("text/plain"));
    QCOMPARE(response.body.count('\n'), method == "HEAD" ? 0 : 1);
}

void ContextsTest::deleteOfAnUnknownContextIsOneCleanAnswer()
{
    HttpClient client = connected();
    client.send(requestBytes("DELETE", "/context/nobody") +
                requestBytes("GET", "/health", {{"Connection", "close"}}));
    const HttpResponse response = client.readResponse();
    QCOMPARE(response.status, 404);
    QCOMPARE(response.body, QByteArray("Context not found."));
    QCOMPARE(client.readResponse().status, 200);
    QVERIFY(client.endsHere());
}

void ContextsTest::postOfInvalidJsonIsOneCleanAnswerAndMakesAContext()
{
    EventStream stream(m_host->port(), "?only=published");
    HttpClient client = connected();
    client.send(requestBytes("POST", "/context", {}, "{\"a\":") +
                requestBytes("GET", "/health", {{"Connection", "close"}}));
    const HttpResponse response = client.readResponse();
    QCOMPARE(response.status, 400);
    QCOMPARE(response.field("Content-Type"), QByteArray("text/plain"));
    QJsonParseError fault;
    QJsonDocument::fromJson("{\"a\":", &fault);
    QCOMPARE(response.body, fault.errorString().toLocal8Bit());
    QCOMPARE(client.readResponse().status, 200);
    QVERIFY(client.endsHere());

    const QJsonObject chunk = stream.next().json();
    QCOMPARE(chunk.value(QLatin1String("exchange")).toString(), QStringLiteral("context-created"));
    const QString id =
        chunk.value(QLatin1String("data")).toObject().value(QLatin1String("contextId")).toString();
    const HttpResponse stored = m_client->exchange("GET", "/context/" + id.toLatin1());
    QCOMPARE(stored.json(), (QJsonObject{{QStringLiteral("_id"), id}}));
}

void ContextsTest::latin1IsReadWhereTheContentTypeNamesIt()
{
    const HttpResponse response = m_client->exchange(
        "POST", "/context", {{"Content-Type", "application/json; charset=ISO-8859-1"}},
        "{\"name\":\"M\xfcller\"}");
    QCOMPARE(response.status, 200);
    QCOMPARE(response.json().value(QLatin1String("name")).toString(),
             QString::fromUtf8("M\xc3\xbcller"));
}

void ContextsTest::pollIsAnsweredByAPutAtOnce()
{
    storeDelivered("polled");
    HttpClient poll = parked(requestBytes("GET", "/context/polled/event"));
    QCOMPARE(m_client->exchange("PUT", "/context/polled", {}, "{\"n\":1}").status, 200);
    const HttpResponse response = poll.readResponse();
    QCOMPARE(response.status, 200);
    QCOMPARE(response.json(), (QJsonObject{{QStringLiteral("matchingItems"), QJsonArray()},
                                           {QStringLiteral("n"), 1}}));
    QCOMPARE(response.field("Content-Type"), QByteArray("application/json"));
    for (const auto &field : noCacheFields)
        QCOMPARE(response.field(field[0]), QByteArray(field[1]));
}

void ContextsTest::firstPollOfAKnownContextIsAnsweredAtOnce()
{
    QCOMPARE(m_client->exchange("PUT", "/context/first", {}, "{\"a\":1}").status, 201);
    HttpClient poll = connected();
    const HttpResponse response = poll.exchange("GET", "/context/first/event");
    QCOMPARE(response.json(), (QJsonObject{{QStringLiteral("a"), 1}}));

    // What was sent to one client counts as sent for every client.
    HttpClient second = parked(requestBytes("GET", "/context/first/event"));
    verifyHeldOpen(&second);
}

void ContextsTest::pollWaitsForTheMemberThatPreferNames()
{
    storeDelivered("preferring");
    HttpClient poll =
        parked(requestBytes("GET", "/context/preferring/event", {{"Prefer", "wait=$.patient"}}));
    QCOMPARE(m_client->exchange("PUT", "/context/preferring", {}, "{\"n\":1}").status, 200);
    QVERIFY(!poll.hasInput());
    QCOMPARE(m_client->exchange("PUT", "/context/preferring", {}, "{\"patient\":{}}").status, 200);
    const HttpResponse response = poll.readResponse();
    QCOMPARE(response.status, 200);
    QVERIFY(response.json().contains(QLatin1String("patient")));
}

void ContextsTest::pollWithAnotherPreferenceWaitsForAnyChange()
{
    storeDelivered("anychange");
    HttpClient poll =
        parked(requestBytes("GET", "/context/anychange/event", {{"Prefer", "wait=5"}}));
    QCOMPARE(m_client->exchange("PUT", "/context/anychange", {}, "{\"n\":1}").status, 200);
    QCOMPARE(poll.readResponse().status, 200);
}

void ContextsTest::pollIsNotAnsweredByAnotherContext()
{
    storeDelivered("unchanged");
    HttpClient poll = parked(requestBytes("GET", "/context/unchanged/event"));
    QCOMPARE(m_client->exchange("PUT", "/context/another", {}, "{\"n\":1}").status, 201);
    verifyHeldOpen(&poll);
}

void ContextsTest::pollIsAnswered404WhenTheContextIsDeleted()
{
    storeDelivered("deleted");
    HttpClient first = parked(requestBytes("GET", "/context/deleted/event"));
    HttpClient second =
        parked(requestBytes("GET", "/context/deleted/event", {{"Prefer", "wait=$.patient"}}));
    QCOMPARE(m_client->exchange("DELETE", "/context/deleted").status, 204);
    for (HttpClient *poll : {&first, &second}) {
        const HttpResponse response = poll->readResponse();
        QCOMPARE(response.status, 404);
        QCOMPARE(response.body, QByteArray(""));
        QCOMPARE(response.count("Content-Type"), 0);
        for (const auto &field : noCacheFields)
            QCOMPARE(response.field(field[0]), QByteArray(field[1]));
        QCOMPARE(poll->exchange("GET", "/health").status, 200);
    }
}

void ContextsTest::pollOfAContextDeletedAndMadeAgainAtOnceIsAnsweredOnce_data()
{
    QTest::addColumn<QByteArray>("prefer");
    QTest::addColumn<bool>("countsAsDelivered");
    QTest::newRow("any change") << QByteArray() << true;
    QTest::newRow("a member that it gets") << QByteArray("wait=$.n") << true;
    QTest::newRow("a member that it lacks") << QByteArray("wait=$.patient") << false;
}

// One array of chunks is handled in one go, so that the controller that was answered 404 is still
// there, and still told of changes, when the context comes back. Nobody receives that change.
void ContextsTest::pollOfAContextDeletedAndMadeAgainAtOnceIsAnsweredOnce()
{
    QFETCH(QByteArray, prefer);
    QFETCH(bool, countsAsDelivered);
    const QByteArray id = "again" + QByteArray::number(prefer.size());
    const QByteArray path = "/context/" + id + "/event";
    const HttpFields fields = prefer.isNull() ? HttpFields{} : HttpFields{{"Prefer", prefer}};
    storeDelivered(id);
    HttpClient poll = parked(requestBytes("GET", path, fields));
    const QByteArray chunks =
        "[{\"exchange\":\"kavo-context-rpc-delete\",\"body\":{\"context\":\"" + id +
        "\"}},{\"exchange\":\"kavo-context-rpc-set\",\"body\":{\"_id\":\"" + id + "\",\"n\":1}}]";
    QCOMPARE(m_client->exchange("POST", "/exchange/chunks", {}, chunks).status, 202);
    const HttpResponse response = poll.readResponse();
    QCOMPARE(response.status, 404);
    QCOMPARE(response.body, QByteArray(""));
    QCOMPARE(response.count("Content-Type"), 0);
    QCOMPARE(poll.exchange("GET", "/context/" + id).json().value(QLatin1String("n")).toInt(), 1);
    QVERIFY(!poll.hasInput());
    poll.close();
    QVERIFY(waitForCounts(*m_client, m_alone));

    // Yet the version counts as delivered, unless the client had asked for another member.
    if (countsAsDelivered) {
        HttpClient next = parked(requestBytes("GET", path));
        QCOMPARE(m_client->exchange("PUT", "/context/" + id, {}, "{\"n\":2}").status, 200);
        QCOMPARE(next.readResponse().json().value(QLatin1String("n")).toInt(), 2);
    } else {
        QCOMPARE(m_client->exchange("GET", path).json().value(QLatin1String("n")).toInt(), 1);
    }
}

void ContextsTest::pollOfAnUnknownContextIsAnsweredByItsCreation()
{
    HttpClient poll = parked(requestBytes("GET", "/context/awaited/event"));
    QCOMPARE(m_client->exchange("DELETE", "/context/awaited").status, 404);
    QVERIFY(!poll.hasInput());
    QCOMPARE(m_client->exchange("PUT", "/context/awaited", {}, "{\"n\":1}").status, 201);
    QCOMPARE(poll.readResponse().json(), (QJsonObject{{QStringLiteral("n"), 1}}));
}

void ContextsTest::deleteOfAnEventIsNeverAnswered()
{
    storeDelivered("undeletable");
    HttpClient client = parked(requestBytes("DELETE", "/context/undeletable/event"));
    QCOMPARE(m_client->exchange("PUT", "/context/undeletable", {}, "{\"n\":1}").status, 200);
    QCOMPARE(m_client->exchange("DELETE", "/context/undeletable").status, 204);
    verifyHeldOpen(&client);
}

void ContextsTest::formIsHeldOpen()
{
    HttpClient first = parked(requestBytes("POST", "/context/abc/$form", {}, "{}"));
    HttpClient second = parked(requestBytes("POST", "/context/abc$form", {}, "{}"));
    QCOMPARE(m_client->exchange("PUT", "/context/abc", {}, "{\"n\":1}").status, 201);
    verifyHeldOpen(&first);
    verifyHeldOpen(&second);
}

void ContextsTest::immediateChangeWithoutTheMemberIsNeverAnswered()
{
    QCOMPARE(m_client->exchange("PUT", "/context/lacking", {}, "{\"n\":0}").status, 201);
    HttpClient poll =
        parked(requestBytes("GET", "/context/lacking/event", {{"Prefer", "wait=$.patient"}}));
    QCOMPARE(m_client->exchange("PUT", "/context/lacking", {}, "{\"patient\":{}}").status, 200);
    verifyHeldOpen(&poll);
}

QTEST_GUILESS_MAIN(ContextsTest)
#include "tst_contexts.moc"
