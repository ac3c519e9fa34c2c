#include "exchange/eventstreamcontroller.h"
#include "support/fakehttp.h"
#include "support/fakestream.h"
#include "support/logcapture.h"

#include <QtTest/QtTest>

using namespace host;
using http::server::Request;
using support::FakeRequest;
using support::FakeStream;

namespace {

QJsonObject chunk(const QString &name, int size = 0)
{
    return {{QStringLiteral("exchange"), name},
            {QStringLiteral("data"), QString(size, QLatin1Char('x'))}};
}

QByteArray eventText(qint64 id, const char *direction, const char *name)
{
    return "id: " + QByteArray::number(id) + "\nevent: " + direction +
           "\ndata: {\"data\":\"\",\"exchange\":\"" + name + "\"}\n\n";
}

/// A follower as the server drives it: its request, its response and its controller.
class Follower
{
public:
    Follower(EmbeddedExchange *exchange, const QString &query = QString(),
             const QString &lastEventId = QString(), Request::HttpMethod method = Request::Get)
        : stream(std::make_shared<FakeStream>())
        , m_controller(std::make_unique<EventStreamController>(exchange))
    {
        const auto request =
            std::make_shared<FakeRequest>(method, QStringLiteral("/exchange/chunks") + query);
        if (!lastEventId.isEmpty())
            request->with(QStringLiteral("Last-Event-ID"), lastEventId);
        m_controller->setRequest(request);
        m_controller->setResponse(stream);
        m_controller->handle();
    }

    void vanish() { m_controller.reset(); }

    QByteArray takeStreamed()
    {
        const QByteArray text = stream->streamed();
        stream->clearStreamed();
        return text;
    }

    std::shared_ptr<FakeStream> stream;

private:
    std::unique_ptr<EventStreamController> m_controller;
};

ExchangeLimits smallBacklog(qint64 bytes)
{
    ExchangeLimits limits;
    limits.followerBacklog = bytes;
    return limits;
}

} // namespace

class EventStreamTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void opensWithItsHeadAndAComment();
    void followsBothDirectionsInOrder();
    void onlyNarrowsTheStreamAndKeepsTheIds();
    void withoutAnIdItStartsWithTheNextChunk();
    void largeChunksThatNobodyFollowedAreRepeatedInOrder_data();
    void largeChunksThatNobodyFollowedAreRepeatedInOrder();
    void largeChunksFromBeforeAreNoNews();
    void repeatsWhatCameAfterTheLastEventId();
    void theHeaderCountsBeforeFrom();
    void aGapComesBeforeWhatIsLeft();
    void anIdOfAnEarlierRunGetsAGapOfUnknownSize();
    void onlyNarrowsTheReplayToo();
    void aQuestionThatMakesNoSenseIsRefused();
    void aHeadRequestGetsTheHead();
    void aFollowerThatDoesNotReadIsCutOff();
    void itsBacklogIsEightMebibytes();
    void whatItAskedToBeRepeatedDoesNotCount();
    void aLargeChunkReachesAFollowerThatReads();
    void aFollowerThatIsGoneIsForgotten();
    void aBrokenStreamIsLeft();
    void followersShareTheTextOfAChunk();
    void aHeartbeatKeepsTheStreamAlive();
    void aHeartbeatDoesNotWaitBehindChunks();
};

void EventStreamTest::opensWithItsHeadAndAComment()
{
    EmbeddedExchange exchange(1);
    Follower follower(&exchange);
    QVERIFY(follower.stream->isStreaming());
    QCOMPARE(follower.stream->status(), 200);
    QCOMPARE(follower.stream->header(QStringLiteral("Content-Type")),
             QStringLiteral("text/event-stream"));
    QCOMPARE(follower.stream->header(QStringLiteral("Cache-Control")), QStringLiteral("no-store"));
    QCOMPARE(follower.stream->streamed(), QByteArray(": connected\n\n"));
    QCOMPARE(exchange.followers(), 1);
}

void EventStreamTest::followsBothDirectionsInOrder()
{
    EmbeddedExchange exchange(17);
    Follower follower(&exchange);
    follower.takeStreamed();
    exchange.delivering(chunk(QStringLiteral("in")));
    exchange.published(chunk(QStringLiteral("out")));
    QCOMPARE(follower.takeStreamed(),
             eventText(17, "delivered", "in") + eventText(18, "published", "out"));
}

void EventStreamTest::onlyNarrowsTheStreamAndKeepsTheIds()
{
    EmbeddedExchange exchange(17);
    Follower published(&exchange, QStringLiteral("?only=published"));
    Follower delivered(&exchange, QStringLiteral("?only=delivered"));
    published.takeStreamed();
    delivered.takeStreamed();
    exchange.delivering(chunk(QStringLiteral("in")));
    exchange.published(chunk(QStringLiteral("out")));
    QCOMPARE(published.takeStreamed(), eventText(18, "published", "out"));
    QCOMPARE(delivered.takeStreamed(), eventText(17, "delivered", "in"));
}

void EventStreamTest::withoutAnIdItStartsWithTheNextChunk()
{
    EmbeddedExchange exchange(17);
    exchange.published(chunk(QStringLiteral("before")));
    Follower follower(&exchange);
    exchange.published(chunk(QStringLiteral("after")));
    QCOMPARE(follower.takeStreamed(), ": connected\n\n" + eventText(18, "published", "after"));
}

void EventStreamTest::largeChunksThatNobodyFollowedAreRepeatedInOrder_data()
{
    QTest::addColumn<int>("count");
    QTest::addColumn<bool>("turn");
    QTest::newRow("one") << 1 << false;
    QTest::newRow("some") << 7 << false;
    QTest::newRow("some, a turn of the event loop later") << 7 << true;
    QTest::newRow("many") << 200 << false;
}

void EventStreamTest::largeChunksThatNobodyFollowedAreRepeatedInOrder()
{
    QFETCH(const int, count);
    QFETCH(const bool, turn);
    EmbeddedExchange exchange(17);
    QByteArray ids;
    for (int i = 0; i < count; ++i) {
        const int size = i % 3 == 1 ? 0 : 10000;
        if (i % 2 == 0)
            exchange.delivering(chunk(QString::number(i), size));
        else
            exchange.published(chunk(QString::number(i), size));
        ids += QByteArray::number(17 + i) + ':' + QByteArray::number(i) + ' ';
    }
    if (turn)
        QCoreApplication::processEvents();
    QByteArray repeated;
    for (const ChunkEventPtr &event : exchange.since(16).events) {
        const QByteArray text = event->text();
        const int name = text.lastIndexOf(":\"") + 2;
        repeated += QByteArray::number(event->id()) + ':' +
                    text.mid(name, text.indexOf('"', name) - name) + ' ';
    }
    QCOMPARE(repeated, ids);
}

void EventStreamTest::largeChunksFromBeforeAreNoNews()
{
    EmbeddedExchange exchange(17);
    exchange.published(chunk(QStringLiteral("before"), 10000));
    Follower follower(&exchange);
    follower.takeStreamed();
    QCoreApplication::processEvents();
    exchange.published(chunk(QStringLiteral("a")));
    QCOMPARE(follower.takeStreamed(), eventText(18, "published", "a"));
}

void EventStreamTest::repeatsWhatCameAfterTheLastEventId()
{
    EmbeddedExchange exchange(17);
    for (const char *name : {"a", "b", "c"})
        exchange.published(chunk(QLatin1String(name)));
    const QByteArray expected =
        ": connected\n\n" + eventText(18, "published", "b") + eventText(19, "published", "c");
    QCOMPARE(Follower(&exchange, QString(), QStringLiteral("17")).takeStreamed(), expected);
    QCOMPARE(Follower(&exchange, QStringLiteral("?from=17")).takeStreamed(), expected);
}

void EventStreamTest::theHeaderCountsBeforeFrom()
{
    EmbeddedExchange exchange(17);
    for (const char *name : {"a", "b", "c"})
        exchange.published(chunk(QLatin1String(name)));
    Follower follower(&exchange, QStringLiteral("?from=17"), QStringLiteral("18"));
    QCOMPARE(follower.takeStreamed(), ": connected\n\n" + eventText(19, "published", "c"));
}

void EventStreamTest::aGapComesBeforeWhatIsLeft()
{
    ExchangeLimits limits;
    limits.keptChunks = 1;
    EmbeddedExchange exchange(17, limits);
    for (const char *name : {"a", "b", "c"})
        exchange.published(chunk(QLatin1String(name)));
    Follower follower(&exchange, QStringLiteral("?from=17"));
    QCOMPARE(follower.takeStreamed(), ": connected\n\nevent: gap\ndata: {\"missed\":1}\n\n" +
                                          eventText(19, "published", "c"));
}

void EventStreamTest::anIdOfAnEarlierRunGetsAGapOfUnknownSize()
{
    EmbeddedExchange exchange(1000);
    exchange.published(chunk(QStringLiteral("a")));
    Follower follower(&exchange, QString(), QStringLiteral("17"));
    QCOMPARE(follower.takeStreamed(), ": connected\n\nevent: gap\ndata: {\"missed\":null}\n\n" +
                                          eventText(1000, "published", "a"));
}

void EventStreamTest::onlyNarrowsTheReplayToo()
{
    EmbeddedExchange exchange(17);
    exchange.published(chunk(QStringLiteral("a")));
    exchange.delivering(chunk(QStringLiteral("b")));
    exchange.published(chunk(QStringLiteral("c")));
    Follower follower(&exchange, QStringLiteral("?only=delivered&from=16"));
    QCOMPARE(follower.takeStreamed(), ": connected\n\n" + eventText(18, "delivered", "b"));
}

void EventStreamTest::aQuestionThatMakesNoSenseIsRefused()
{
    EmbeddedExchange exchange(17);
    Follower follower(&exchange, QStringLiteral("?only=some"));
    QCOMPARE(follower.stream->status(), 400);
    QCOMPARE(follower.stream->body(), QByteArray("\"only\" takes published or delivered\n"));
    QVERIFY(!follower.stream->isStreaming());
    QCOMPARE(exchange.followers(), 0);
}

void EventStreamTest::aHeadRequestGetsTheHead()
{
    EmbeddedExchange exchange(17);
    Follower follower(&exchange, QString(), QString(), Request::Head);
    QVERIFY(follower.stream->isStreaming());
    QCOMPARE(follower.stream->streamed(), QByteArray());
    QCOMPARE(exchange.followers(), 0);
}

void EventStreamTest::aFollowerThatDoesNotReadIsCutOff()
{
    EmbeddedExchange exchange(17, smallBacklog(1200));
    Follower stuck(&exchange);
    Follower reading(&exchange);
    stuck.stream->reads = false;
    support::LogCapture log;
    for (int i = 0; i < 4; ++i)
        exchange.published(chunk(QStringLiteral("a"), 200));
    QVERIFY(!stuck.stream->isAborted()); // four of 261 bytes
    exchange.published(chunk(QStringLiteral("a"), 200));
    QVERIFY(stuck.stream->isAborted());
    QVERIFY(!reading.stream->isAborted());
    QCOMPARE(exchange.followers(), 1);
    QCOMPARE(log.lines(QStringLiteral("kavo.host.exchange")).size(), 1);
    QCOMPARE(log.lines().first().level, QtWarningMsg);
    exchange.published(chunk(QStringLiteral("last")));
    QVERIFY(reading.stream->streamed().endsWith(eventText(22, "published", "last")));
}

void EventStreamTest::itsBacklogIsEightMebibytes()
{
    QCOMPARE(ExchangeLimits().followerBacklog, 8388608);
}

void EventStreamTest::whatItAskedToBeRepeatedDoesNotCount()
{
    EmbeddedExchange exchange(17, smallBacklog(1200));
    for (int i = 0; i < 10; ++i)
        exchange.published(chunk(QStringLiteral("a"), 200));
    EventStreamController controller(&exchange);
    const auto stream = std::make_shared<FakeStream>();
    stream->reads = false;
    controller.setRequest(
        std::make_shared<FakeRequest>(Request::Get, QStringLiteral("/exchange/chunks?from=16")));
    controller.setResponse(stream);
    controller.handle();
    QVERIFY(stream->pendingBytes() > 2000);
    for (int i = 0; i < 4; ++i)
        exchange.published(chunk(QStringLiteral("a"), 200));
    QVERIFY(!stream->isAborted());
    exchange.published(chunk(QStringLiteral("a"), 200));
    QVERIFY(stream->isAborted());
}

// The module never waits, but a single chunk may be larger than the limit.
void EventStreamTest::aLargeChunkReachesAFollowerThatReads()
{
    EmbeddedExchange exchange(17, smallBacklog(1200));
    Follower follower(&exchange);
    follower.stream->reads = false;
    exchange.published(chunk(QStringLiteral("a"), 5000));
    QVERIFY(!follower.stream->isAborted());
    follower.stream->drain();
    exchange.published(chunk(QStringLiteral("a"), 5000));
    QVERIFY(!follower.stream->isAborted());
    exchange.published(chunk(QStringLiteral("a")));
    QVERIFY(follower.stream->isAborted());
}

void EventStreamTest::aFollowerThatIsGoneIsForgotten()
{
    EmbeddedExchange exchange(17);
    Follower follower(&exchange);
    follower.vanish();
    QCOMPARE(exchange.followers(), 0);
    exchange.published(chunk(QStringLiteral("a")));
    QCOMPARE(follower.takeStreamed(), QByteArray(": connected\n\n"));
}

void EventStreamTest::aBrokenStreamIsLeft()
{
    EmbeddedExchange exchange(17);
    Follower broken(&exchange);
    Follower other(&exchange);
    broken.stream->gone = true;
    other.takeStreamed();
    exchange.published(chunk(QStringLiteral("a")));
    QCOMPARE(exchange.followers(), 1);
    QCOMPARE(other.takeStreamed(), eventText(17, "published", "a"));
}

void EventStreamTest::followersShareTheTextOfAChunk()
{
    EventLog log(17, {});
    const ChunkEventPtr event = log.append(Direction::Published, chunk(QStringLiteral("a")));
    const QByteArray asked = event->text();
    QVERIFY(log.since(16).events.front()->text().constData() == asked.constData());
}

void EventStreamTest::aHeartbeatKeepsTheStreamAlive()
{
    QCOMPARE(ExchangeLimits().heartbeat, 15000);
    ExchangeLimits limits;
    limits.heartbeat = 1;
    EmbeddedExchange exchange(17, limits);
    Follower first(&exchange);
    Follower second(&exchange);
    first.takeStreamed();
    second.takeStreamed();
    QTRY_VERIFY(first.stream->streamed().startsWith(heartbeatText()));
    QTRY_VERIFY(second.stream->streamed().startsWith(heartbeatText()));
}

void EventStreamTest::aHeartbeatDoesNotWaitBehindChunks()
{
    ExchangeLimits limits;
    limits.heartbeat = 1;
    EmbeddedExchange exchange(17, limits);
    Follower stuck(&exchange);
    Follower reading(&exchange);
    stuck.stream->reads = false;
    exchange.published(chunk(QStringLiteral("a")));
    stuck.takeStreamed();
    QTRY_VERIFY(reading.stream->streamed().endsWith(heartbeatText()));
    QCOMPARE(stuck.takeStreamed(), QByteArray());
}

QTEST_GUILESS_MAIN(EventStreamTest)
#include "tst_eventstream.moc"
