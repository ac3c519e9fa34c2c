#include "exchangehost.h"
#include "support/healthcounts.h"

#include <QtTest/QTest>

using namespace support;

namespace {

constexpr int keptChunks = 1000;
constexpr int megabyte = 1000 * 1000;

} // namespace

/// What the event stream keeps for those who come back, and what it does not keep for those who do
/// not read.
class ExchangeReplayTest : public QObject, private ExchangeHost
{
    Q_OBJECT

private Q_SLOTS:
    void init() { QVERIFY(startHost()); }
    void cleanup() { endHost(); }

    void lastEventIdAndFromReplayWhatCameAfter();
    void headerCountsWhereBothAreGiven();
    void replayIsNarrowedToo();
    void lastThousandChunksAreKept();
    void gapSaysHowManyAreMissed();
    void gapIsNullForIdsThatWereNeverGiven();
    void idsOfARestartedHostAreHigher();
    void largeChunksLeaveTheRingByTheirSize();
    void followerThatDoesNotReadIsCutOff();
    void replayDoesNotCountAsUnreadChunks();
};

void ExchangeReplayTest::lastEventIdAndFromReplayWhatCameAfter()
{
    const qint64 id = idOfAnEvent();
    QCOMPARE(post(arrayOf(3)), 3);
    const QByteArray after = QByteArray::number(id + 1);
    EventStream byHeader(m_host->port(), {}, {{"Last-Event-ID", after}});
    EventStream byQuery(m_host->port(), "?from=" + after);
    EventStream byNeither(m_host->port());
    QCOMPARE(post(numbered(9)), 1);
    for (EventStream *stream : {&byHeader, &byQuery}) {
        for (const int number : {1, 2, 9})
            QCOMPARE(numberIn(stream->next()), number);
    }
    QCOMPARE(numberIn(byNeither.next()), 9);
}

void ExchangeReplayTest::headerCountsWhereBothAreGiven()
{
    const qint64 id = idOfAnEvent();
    QCOMPARE(post(arrayOf(3)), 3);
    EventStream stream(m_host->port(), "?from=" + QByteArray::number(id),
                       {{"Last-Event-ID", QByteArray::number(id + 2)}});
    QCOMPARE(numberIn(stream.next()), 2);
}

void ExchangeReplayTest::replayIsNarrowedToo()
{
    const qint64 id = idOfAnEvent();
    QCOMPARE(post(numbered(1)), 1);
    QCOMPARE(m_client->exchange("DELETE", "/context/nobody").status, 404);
    QCOMPARE(post(numbered(2)), 1);
    EventStream stream(m_host->port(), "?only=delivered&from=" + QByteArray::number(id));
    QCOMPARE(numberIn(stream.next()), 1);
    QCOMPARE(numberIn(stream.next()), 2);
}

void ExchangeReplayTest::lastThousandChunksAreKept()
{
    const qint64 id = idOfAnEvent();
    QCOMPARE(post(arrayOf(keptChunks)), keptChunks);
    EventStream stream(m_host->port(), "?from=" + QByteArray::number(id));
    for (int i = 0; i < keptChunks; ++i) {
        const StreamEvent event = stream.next();
        QCOMPARE(event.id.toLongLong(), id + 1 + i);
        QCOMPARE(numberIn(event), i);
    }
}

void ExchangeReplayTest::gapSaysHowManyAreMissed()
{
    const qint64 id = idOfAnEvent();
    QCOMPARE(post(arrayOf(keptChunks + 5)), keptChunks + 5);
    EventStream stream(m_host->port(), {}, {{"Last-Event-ID", QByteArray::number(id)}});
    QCOMPARE(stream.nextBlock(), QByteArray("event: gap\ndata: {\"missed\":5}"));
    QCOMPARE(numberIn(stream.next()), 5);
}

void ExchangeReplayTest::gapIsNullForIdsThatWereNeverGiven()
{
    const qint64 id = idOfAnEvent();
    for (const qint64 strange : {qint64(0), qint64(17), id - 2, id + 1, id + 1000}) {
        EventStream stream(m_host->port(), "?from=" + QByteArray::number(strange));
        QCOMPARE(stream.nextBlock(), QByteArray("event: gap\ndata: {\"missed\":null}"));
        QCOMPARE(stream.next().id.toLongLong(), id);
    }
    // The newest id of all misses nothing.
    EventStream stream(m_host->port(), "?from=" + QByteArray::number(id));
    QCOMPARE(post(numbered(3)), 1);
    QCOMPARE(numberIn(stream.next()), 3);
}

void ExchangeReplayTest::idsOfARestartedHostAreHigher()
{
    const qint64 before = idOfAnEvent();
    endHost();
    QVERIFY(startHost());
    EventStream stream(m_host->port(), {}, {{"Last-Event-ID", QByteArray::number(before)}});
    QCOMPARE(stream.nextBlock(), QByteArray("event: gap\ndata: {\"missed\":null}"));
    QCOMPARE(post(numbered(1)), 1);
    QVERIFY(stream.next().id.toLongLong() > before);
}

void ExchangeReplayTest::largeChunksLeaveTheRingByTheirSize()
{
    const qint64 id = idOfAnEvent();
    const QByteArray chunk = "{\"text\":\"" + QByteArray(megabyte, 'x') + "\"}";
    constexpr int posted = 20; // more than 16 MiB
    for (int i = 0; i < posted; ++i)
        QCOMPARE(post(chunk), 1);
    EventStream stream(m_host->port(), "?from=" + QByteArray::number(id));
    const StreamEvent gap = stream.next();
    QCOMPARE(gap.event, QByteArray("gap"));
    const int missed = gap.json().value(QLatin1String("missed")).toInt();
    QCOMPARE(missed, posted - 16); // 16 of them are less than 16 MiB, 17 are more
    QCOMPARE(stream.next().id.toLongLong(), id + 1 + missed);
}

void ExchangeReplayTest::followerThatDoesNotReadIsCutOff()
{
    const HealthCounts before = healthCounts(*m_client);
    EventStream lazy(m_host->port());
    const QByteArray chunk = "{\"text\":\"" + QByteArray(megabyte, 'x') + "\"}";
    // What the systems' own buffers take comes on top of the 8 MiB.
    int posted = 0;
    while (!m_host->log().contains("cut off") && posted < 100) {
        QCOMPARE(post(chunk), 1);
        ++posted;
    }
    QVERIFY(posted > 8);
    QVERIFY(m_host->log().contains("cut off"));
    QVERIFY(lazy.client().breaks());
    QVERIFY(waitForCounts(*m_client, before));
}

void ExchangeReplayTest::replayDoesNotCountAsUnreadChunks()
{
    const qint64 id = idOfAnEvent();
    const QByteArray chunk = "{\"text\":\"" + QByteArray(megabyte, 'x') + "\"}";
    constexpr int replayed = 12;
    for (int i = 0; i < replayed; ++i)
        QCOMPARE(post(chunk), 1);
    EventStream stream(m_host->port(), "?from=" + QByteArray::number(id));
    constexpr int later = 4;
    for (int i = 0; i < later; ++i)
        QCOMPARE(post(chunk), 1);
    for (int i = 1; i <= replayed + later; ++i)
        QCOMPARE(stream.next().id.toLongLong(), id + i);
    QVERIFY(!m_host->log().contains("cut off"));
}

QTEST_GUILESS_MAIN(ExchangeReplayTest)
#include "tst_exchange_replay.moc"
