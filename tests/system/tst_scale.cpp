#include "support/eventstream.h"
#include "support/healthcounts.h"
#include "support/hostprocess.h"
#include "support/httpclient.h"

#include <QtTest/QTest>

#include <vector>

using namespace support;

namespace {

constexpr int thousand = 1000;

// How soon the host promises to notice a client that is gone.
constexpr std::chrono::milliseconds noticed(1000);

} // namespace

/// Many clients at once, and clients that vanish.
class ScaleTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void thousandPollsAreAnsweredByOneChange();
    void thousandMessagePollsAreAnsweredByOneMessage();
    void thousandVanishedPollsLeaveNothing_data();
    void thousandVanishedPollsLeaveNothing();
    void vanishedClientIsNoticedWithinASecond_data();
    void vanishedClientIsNoticedWithinASecond();
    void connectionsPastTheLimitAreClosedWithOneWarning();

private:
    std::vector<HttpClient> parked(const QByteArray &request, int count);

    std::unique_ptr<HostProcess> m_host;
    std::unique_ptr<HttpClient> m_client;
    HealthCounts m_before;
};

void ScaleTest::init()
{
    m_host = std::make_unique<HostProcess>();
    QVERIFY(m_host->start());
    m_client = std::make_unique<HttpClient>(m_host->port());
    m_before = healthCounts(*m_client);
    QVERIFY(m_before.connections >= 0);
}

void ScaleTest::cleanup()
{
    m_client.reset();
    m_host.reset();
}

std::vector<HttpClient> ScaleTest::parked(const QByteArray &request, int count)
{
    std::vector<HttpClient> clients;
    for (int i = 0; i < count; ++i) {
        clients.emplace_back(m_host->port());
        if (!clients.back().send(request))
            QTest::qFail("A client was not taken", __FILE__, __LINE__);
    }
    if (!waitForCounts(*m_client, m_before.plus(count)))
        QTest::qFail("Not every request is held open", __FILE__, __LINE__);
    return clients;
}

void ScaleTest::thousandPollsAreAnsweredByOneChange()
{
    std::vector<HttpClient> polls = parked(requestBytes("GET", "/context/shared/event"), thousand);
    QCOMPARE(m_client->exchange("PUT", "/context/shared", {}, "{\"a\":1}").status, 201);
    for (HttpClient &poll : polls) {
        const HttpResponse response = poll.readResponse();
        QCOMPARE(response.status, 200);
        QCOMPARE(response.json(), (QJsonObject{{QStringLiteral("a"), 1}}));
        QVERIFY(!poll.hasInput());
    }
    HealthCounts answered = m_before;
    answered.connections += thousand;
    QCOMPARE(healthCounts(*m_client), answered);
    polls.clear();
    QVERIFY(waitForCounts(*m_client, m_before));
}

void ScaleTest::thousandMessagePollsAreAnsweredByOneMessage()
{
    std::vector<HttpClient> polls = parked(requestBytes("GET", "/message/event"), thousand);
    QCOMPARE(m_client
                 ->exchange("POST", "/exchange/chunks", {},
                            "{\"exchange\":\"kavo-context-add-messages\",\"messages\":"
                            "[{\"id\":\"1\",\"title\":\"t\",\"text\":\"x\"}]}")
                 .status,
             202);
    for (HttpClient &poll : polls) {
        const HttpResponse response = poll.readResponse();
        QCOMPARE(response.status, 200);
        QCOMPARE(response.jsonArray().size(), 1);
    }
    polls.clear();
    QVERIFY(waitForCounts(*m_client, m_before));
}

void ScaleTest::thousandVanishedPollsLeaveNothing_data()
{
    QTest::addColumn<bool>("withReset");
    QTest::newRow("FIN") << false;
    QTest::newRow("RST") << true;
}

void ScaleTest::thousandVanishedPollsLeaveNothing()
{
    QFETCH(bool, withReset);
    std::vector<HttpClient> polls =
        parked(requestBytes("GET", "/context/vanishing/event"), thousand);
    for (HttpClient &poll : polls)
        withReset ? poll.reset() : poll.close();
    QVERIFY(waitForCounts(*m_client, m_before));
    QCOMPARE(m_client->exchange("PUT", "/context/vanishing", {}, "{\"a\":1}").status, 201);
    QCOMPARE(healthCounts(*m_client), m_before);
}

void ScaleTest::vanishedClientIsNoticedWithinASecond_data()
{
    QTest::addColumn<QByteArray>("request");
    QTest::addColumn<bool>("withReset");
    const QVector<QPair<const char *, QByteArray>> requests{
        {"a context poll", requestBytes("GET", "/context/x/event")},
        {"a poll for a member",
         requestBytes("GET", "/context/x/event", {{"Prefer", "wait=$.patient"}})},
        {"a message poll", requestBytes("GET", "/message/event")},
        {"a DELETE of an event", requestBytes("DELETE", "/context/x/event")},
        {"a form", requestBytes("POST", "/context/x/$form", {}, "{}")},
        {"a follower of the exchange", requestBytes("GET", "/exchange/chunks")},
        {"a poll with requests behind it", requestBytes("GET", "/context/x/event") +
                                               requestBytes("GET", "/health") + "GET /unfinished"},
        {"a poll with more behind it than is read ahead",
         requestBytes("GET", "/context/x/event") + requestBytes("GET", "/health").repeated(3000)},
    };
    for (const auto &request : requests) {
        QTest::addRow("%s, FIN", request.first) << request.second << false;
        QTest::addRow("%s, RST", request.first) << request.second << true;
    }
}

void ScaleTest::vanishedClientIsNoticedWithinASecond()
{
    QFETCH(QByteArray, request);
    QFETCH(bool, withReset);
#ifdef Q_OS_WIN
    if (!withReset && request.count("/health") > 1)
        QSKIP("Windows does not tell that a peer has closed before all that it sent is read");
#endif
    std::vector<HttpClient> clients = parked(request, 1);
    withReset ? clients.front().reset() : clients.front().close();
    QVERIFY(waitForCounts(*m_client, m_before, noticed));
}

void ScaleTest::connectionsPastTheLimitAreClosedWithOneWarning()
{
    constexpr int limit = 20;
    HostSetup setup;
    setup.options << QStringLiteral("--max-connections") << QString::number(limit);
    HostProcess host(setup);
    QVERIFY(host.start());
    std::vector<HttpClient> clients;
    for (int i = 0; i < limit; ++i) {
        clients.emplace_back(host.port());
        QCOMPARE(clients.back().exchange("GET", "/health").status, 200);
    }
    QCOMPARE(host.log().count("Too many connections"), 0);
    for (int i = 0; i < limit; ++i) {
        HttpClient surplus(host.port());
        QVERIFY(surplus.breaks());
    }
    QCOMPARE(host.log().count("Too many connections"), 1);

    HttpClient last = std::move(clients.back());
    clients.clear();
    QVERIFY(waitUntil([&] { return healthCounts(last).connections == 1; }));
    HttpClient again(host.port());
    QCOMPARE(again.exchange("GET", "/health").status, 200);
}

QTEST_GUILESS_MAIN(ScaleTest)
#include "tst_scale.moc"
