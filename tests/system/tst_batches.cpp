#include "support/eventstream.h"
#include "support/healthcounts.h"
#include "support/hostprocess.h"
#include "support/httpclient.h"

#include <QtCore/QJsonObject>
#include <QtTest/QTest>

#include <csignal>
#include <sys/types.h>
#include <vector>

using namespace support;

namespace {

/// Stops the host, so that all that is sent meanwhile is there at once when it goes on.
class Pause
{
public:
    explicit Pause(const HostProcess &host)
        : m_process(static_cast<pid_t>(host.processId()))
    {
        ::kill(m_process, SIGSTOP);
    }
    ~Pause() { ::kill(m_process, SIGCONT); }
    Pause(const Pause &) = delete;
    Pause &operator=(const Pause &) = delete;

private:
    pid_t m_process;
};

QByteArray path(const char *name, int number)
{
    return QByteArray("/context/") + name + QByteArray::number(number);
}

QByteArray putOf(const QByteArray &target, int value)
{
    return requestBytes("PUT", target, {}, "{\"n\":" + QByteArray::number(value) + '}');
}

int valueIn(const HttpResponse &response)
{
    return response.json().value(QLatin1String("n")).toInt(-1);
}

} // namespace

/// Many clients ask at the same time: the answers of such a batch leave the host together.
class BatchesTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init() { QVERIFY(waitForCounts(*m_client, m_alone)); }

    void everyClientGetsItsOwnAnswers();
    void requestsSentAheadAreAnsweredInOrder();
    void answersThatDoNotFitAreFinished();
    void aWaitingPollIsAnsweredByAChangeInTheBatch();
    void clientsThatLeaveHoldNothingUp();
    void streamsBeginAndFollow();

private:
    /// So many clients whose connections the host has taken over.
    std::vector<HttpClient> clients(int count) const;

    HostProcess m_host;
    std::unique_ptr<HttpClient> m_client;
    HealthCounts m_alone;
};

void BatchesTest::initTestCase()
{
    QVERIFY(m_host.start());
    m_client = std::make_unique<HttpClient>(m_host.port());
    m_alone = healthCounts(*m_client);
}

std::vector<HttpClient> BatchesTest::clients(int count) const
{
    std::vector<HttpClient> result;
    for (int i = 0; i < count; ++i) {
        result.emplace_back(m_host.port());
        result.back().exchange("GET", "/health");
    }
    return result;
}

void BatchesTest::everyClientGetsItsOwnAnswers()
{
    std::vector<HttpClient> all = clients(70);
    int number = 0;
    {
        const Pause pause(m_host);
        for (HttpClient &client : all) {
            const QByteArray target = path("own", number);
            switch (number % 7) {
            case 1:
                client.send(requestBytes("GET", target));
                break;
            case 2:
                client.send(requestBytes("HEAD", "/health"));
                break;
            case 3:
                client.send(requestBytes("GET", "/health", {{"Connection", "close"}}));
                break;
            case 4:
                client.send("GET /health\r\n\r\n");
                break;
            case 5:
                client.send(requestBytes("POST", "/exchange/chunks", {}, "{}"));
                break;
            default:
                client.send(putOf(target, number));
            }
            ++number;
        }
    }
    number = 0;
    for (HttpClient &client : all) {
        const HttpResponse response = client.readResponse(number % 7 == 2);
        const int statuses[] = {201, 404, 200, 200, 400, 202, 201};
        QCOMPARE(response.status, statuses[number % 7]);
        if (response.status == 201)
            QCOMPARE(valueIn(response), number);
        if (number % 7 == 3 || number % 7 == 4)
            QVERIFY(client.endsHere());
        else
            QCOMPARE(client.exchange("GET", "/health").status, 200);
        ++number;
    }
}

void BatchesTest::requestsSentAheadAreAnsweredInOrder()
{
    constexpr int ahead = 5;
    std::vector<HttpClient> all = clients(30);
    int number = 0;
    {
        const Pause pause(m_host);
        for (HttpClient &client : all) {
            QByteArray bytes;
            for (int i = 0; i < ahead; ++i)
                bytes += putOf(path("ahead", number), i);
            client.send(bytes + requestBytes("GET", path("ahead", number)));
            ++number;
        }
    }
    for (HttpClient &client : all) {
        for (int i = 0; i < ahead; ++i) {
            const HttpResponse response = client.readResponse();
            QCOMPARE(response.status, i == 0 ? 201 : 200);
            QCOMPARE(valueIn(response), i);
        }
        QCOMPARE(valueIn(client.readResponse()), ahead - 1);
        QVERIFY(!client.hasInput());
    }
}

void BatchesTest::answersThatDoNotFitAreFinished()
{
    const QByteArray text(8 * 1024 * 1024, 'x');
    QCOMPARE(m_client->exchange("PUT", "/context/large", {}, "{\"text\":\"" + text + "\"}").status,
             201);
    std::vector<HttpClient> all = clients(20);
    {
        const Pause pause(m_host);
        for (HttpClient &client : all)
            client.send(requestBytes("GET", "/context/large") + requestBytes("GET", "/health"));
    }
    for (HttpClient &client : all) {
        const HttpResponse response = client.readResponse();
        QCOMPARE(response.status, 200);
        QVERIFY(response.body.contains(text));
        QCOMPARE(client.readResponse().status, 200);
    }
}

void BatchesTest::aWaitingPollIsAnsweredByAChangeInTheBatch()
{
    std::vector<HttpClient> polls = clients(40);
    for (HttpClient &poll : polls)
        poll.send(requestBytes("GET", "/context/polled/event"));
    QVERIFY(waitForCounts(*m_client, m_alone.plus(int(polls.size()))));
    std::vector<HttpClient> others = clients(10);
    {
        const Pause pause(m_host);
        for (std::size_t i = 0; i < others.size(); ++i) {
            others[i].send(i == 5 ? putOf("/context/polled", 5) : requestBytes("GET", "/health"));
        }
    }
    for (HttpClient &other : others)
        QVERIFY(other.readResponse().status / 100 == 2);
    for (HttpClient &poll : polls)
        QCOMPARE(valueIn(poll.readResponse()), 5);
}

void BatchesTest::clientsThatLeaveHoldNothingUp()
{
    std::vector<HttpClient> all = clients(60);
    {
        const Pause pause(m_host);
        for (std::size_t i = 0; i < all.size(); ++i) {
            all[i].send(putOf(path("left", int(i)), int(i)));
            if (i % 3 == 0)
                all[i].reset();
            else if (i % 3 == 1)
                all[i].endSending();
        }
    }
    for (std::size_t i = 0; i < all.size(); ++i) {
        if (i % 3 == 0)
            continue;
        QCOMPARE(valueIn(all[i].readResponse()), int(i));
        if (i % 3 == 1)
            QVERIFY(all[i].endsHere());
    }
}

void BatchesTest::streamsBeginAndFollow()
{
    std::vector<HttpClient> all = clients(20);
    {
        const Pause pause(m_host);
        for (HttpClient &client : all)
            client.send(requestBytes("GET", "/exchange/chunks"));
    }
    for (HttpClient &client : all) {
        QCOMPARE(client.readHead().status, 200);
        QCOMPARE(client.readChunk(), QByteArray(": connected\n\n"));
    }
    QCOMPARE(m_client->exchange("POST", "/exchange/chunks", {}, "{\"a\":1}").status, 202);
    for (HttpClient &client : all)
        QVERIFY(client.readChunk().contains("\ndata: {\"a\":1}\n\n"));
}

QTEST_GUILESS_MAIN(BatchesTest)
#include "tst_batches.moc"
