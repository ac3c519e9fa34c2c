#include "refusedrequests.h"
#include "strictreading.h"
#include "support/hostprocess.h"
#include "support/httpclient.h"

#include <QtTest/QTest>

#include <iterator>
#include <limits>

using namespace support;

namespace {

constexpr int wholeSize = std::numeric_limits<int>::max() / 2;

// The request that an attacker hides: should it be served, the victim is gone.
const char victim[] = "/context/victim";

QByteArray hiddenRequest()
{
    return requestBytes("DELETE", victim);
}

// Requests that hide another one where only a wrong reading finds it.
QVector<QByteArray> coverRequests()
{
    const QByteArray hidden = hiddenRequest();
    const QByteArray text = "{\"text\":\"\r\n\r\n" + hidden + "\"}";
    const QByteArray chunked = "PUT /context/cover HTTP/1.1\r\nHost: localhost\r\n"
                               "Transfer-Encoding: chunked\r\n\r\n";
    const QByteArray size = QByteArray::number(text.size(), 16);
    return {requestBytes("PUT", "/context/cover", {}, text),
            chunked + size + "\r\n" + text + "\r\n0\r\n\r\n",
            chunked + size + ";a=b\r\n" + text + "\r\n0;last\r\nX: y\r\n\r\n",
            requestBytes("PUT", "/context/cover", {{"X", "0"}, {"Y", hidden.simplified()}}, "{}"),
            "GET /health HTTP/1.0\r\nHost: localhost\r\n\r\n" + hidden,
            requestBytes("GET", "/health", {{"Connection", "close"}}) + hidden,
            chunked + "2\r\n{}\r\n0\r\n" + hidden};
}

// Every request that must be refused, with the hidden one behind it, and as many covers.
QVector<QByteArray> seeds()
{
    const QVector<QByteArray> covers = coverRequests();
    QVector<QByteArray> all;
    for (const refused::Request &request : refused::requests()) {
        all.append(request.bytes + hiddenRequest());
        all.append(covers.at(all.size() / 2 % covers.size()));
    }
    return all;
}

/// A generator of its own, so that every run sends the same.
class Random
{
public:
    int below(int limit)
    {
        m_state = m_state * 1664525u + 1013904223u;
        return int((m_state >> 16) % quint32(limit));
    }

private:
    quint32 m_state = 1;
};

// What decides where a message ends, for the most part.
QByteArray splinter(Random *random)
{
    static const QByteArray splinters[] = {"\r\n",
                                           "\n",
                                           "\r",
                                           "\r\n\r\n",
                                           " ",
                                           "\t",
                                           "0",
                                           "1",
                                           ",",
                                           ";",
                                           ":",
                                           "\"",
                                           "Content-Length: 0\r\n",
                                           "Content-Length: 1\r\n",
                                           "Transfer-Encoding: chunked\r\n",
                                           "0\r\n\r\n",
                                           "Connection: close\r\n"};
    return splinters[random->below(int(std::size(splinters)))];
}

QByteArray mutated(QByteArray bytes, Random *random)
{
    for (int changes = random->below(4); changes >= 0; --changes) {
        // Where lines end most of the framing is decided.
        int at = random->below(bytes.size() + 1);
        const int lineEnd = bytes.indexOf("\r\n", at);
        if (random->below(2) == 0 && lineEnd >= 0)
            at = lineEnd + 2 * random->below(2);
        switch (random->below(5)) {
        case 0:
            bytes.remove(at, 1 + random->below(8));
            break;
        case 1:
            bytes.insert(at, char(random->below(256)));
            break;
        case 2:
            if (at < bytes.size())
                bytes[at] = char(random->below(256));
            break;
        default:
            bytes.insert(at, splinter(random));
            break;
        }
    }
    return bytes;
}

bool isRefusal(const HttpResponse &response)
{
    return response.status >= 400 && response.field("Connection") == "close" &&
           response.field("Content-Type") == "text/plain";
}

} // namespace

/// Bytes of all kinds on a socket: each request that a strict reading finds in them is answered, in
/// order, up to the first refusal, and nothing else in them is ever taken for a request.
class SmugglingTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void cleanupTestCase();

    void hiddenRequestIsNoticedWhenItIsServed();
    void coversAreServedWithoutWhatTheyHide();
    void mutatedRequestsSmuggleNothing();

private:
    /// Sends the bytes, in pieces of that size, and reads all answers. Fails when they are not
    /// those to the requests that a strict reading finds. Returns how many there were.
    int verifyOnlyWhatStandsThere(const QByteArray &bytes, int pieceSize = wholeSize);

    void restoreVictim();
    bool isVictimThere() { return m_client->exchange("GET", victim).status == 200; }

    std::unique_ptr<HostProcess> m_host;
    std::unique_ptr<HttpClient> m_client;
    int m_refused = 0;
};

void SmugglingTest::initTestCase()
{
    HostSetup setup;
    setup.options << QStringLiteral("--max-body") << QString::number(refused::bodyLimit);
    m_host = std::make_unique<HostProcess>(setup);
    QVERIFY(m_host->start());
    m_client = std::make_unique<HttpClient>(m_host->port());
    restoreVictim();
}

void SmugglingTest::cleanupTestCase()
{
    m_client.reset();
    m_host.reset();
}

void SmugglingTest::restoreVictim()
{
    QVERIFY(m_client->exchange("PUT", victim, {}, "{}").status >= 200);
}

int SmugglingTest::verifyOnlyWhatStandsThere(const QByteArray &bytes, int pieceSize)
{
    const QByteArray shown = bytes.toPercentEncoding(" /:;,\"{}");
    const QVector<strict::Request> requests = strict::requestsIn(bytes);
    HttpClient client(m_host->port());
    for (int sent = 0; sent < bytes.size(); sent += pieceSize)
        client.send(bytes.mid(sent, pieceSize));
    client.endSending();
    int answers = 0;
    HttpResponse last;
    bool mayBeGone = false;
    for (;;) {
        const bool isToHead = requests.value(answers).line.startsWith("HEAD ");
        const HttpResponse next = client.readResponse(isToHead);
        if (next.status == 0)
            break;
        last = next;
        mayBeGone = mayBeGone || requests.value(answers).line.startsWith("DELETE ");
        ++answers;
    }
    const auto fail = [&](const char *what) {
        const QByteArray text = QByteArray(what) + ": " + shown;
        QTest::qFail(text.constData(), __FILE__, __LINE__);
    };
    if (!client.endsHere() || !last.fault.isEmpty())
        fail("What follows the last answer is none, or the connection broke");
    if (answers > requests.size() && !(answers == requests.size() + 1 && isRefusal(last)))
        fail("More was answered than was asked");
    if (answers < requests.size() && last.field("Connection") != "close")
        fail("Less was answered than was asked");
    if (!isVictimThere()) {
        if (!mayBeGone)
            fail("The hidden request was served");
        restoreVictim();
    }
    m_refused += isRefusal(last) ? 1 : 0;
    return answers;
}

void SmugglingTest::hiddenRequestIsNoticedWhenItIsServed()
{
    QCOMPARE(verifyOnlyWhatStandsThere(requestBytes("GET", "/health")), 1);
    QVERIFY(isVictimThere());
    HttpClient client(m_host->port());
    client.send(requestBytes("GET", "/health") + hiddenRequest());
    QCOMPARE(client.readResponse().status, 200);
    QCOMPARE(client.readResponse().status, 204);
    QVERIFY(!isVictimThere());
    restoreVictim();
}

void SmugglingTest::coversAreServedWithoutWhatTheyHide()
{
    for (const QByteArray &cover : coverRequests()) {
        QCOMPARE(verifyOnlyWhatStandsThere(cover), 1);
        QVERIFY(isVictimThere());
    }
    QCOMPARE(m_refused, 1); // the last of them
}

void SmugglingTest::mutatedRequestsSmuggleNothing()
{
    m_refused = 0;
    constexpr int rounds = 20;
    int sent = 0;
    int several = 0;
    Random random;
    for (int round = 0; round < rounds; ++round) {
        for (const QByteArray &seed : seeds()) {
            // Every other time in a few pieces: where they end must not matter.
            const int pieceSize =
                round % 2 == 0 ? wholeSize : 1 + seed.size() / (2 + random.below(8));
            const int answers = verifyOnlyWhatStandsThere(mutated(seed, &random), pieceSize);
            if (QTest::currentTestFailed())
                return;
            several += answers > 1 ? 1 : 0;
            ++sent;
        }
    }
    // Not all of them go one way, which would say little.
    qInfo("%d sent, %d refused, %d with several answers", sent, m_refused, several);
    QVERIFY(sent > 1000);
    QVERIFY(m_refused > sent / 4);
    QVERIFY(sent - m_refused > sent / 50);
    QVERIFY(several > sent / 50);
}

QTEST_GUILESS_MAIN(SmugglingTest)
#include "tst_smuggling.moc"
