#include "exchange/eventlog.h"

#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>
#include <QtTest/QtTest>

using namespace host;

namespace {

QJsonObject chunk(int size)
{
    return {{QStringLiteral("data"), QString(size, QLatin1Char('x'))}};
}

QVector<qint64> ids(const EventLog::Backlog &backlog)
{
    QVector<qint64> found;
    for (const ChunkEventPtr &event : backlog.events)
        found.append(event->id());
    return found;
}

ExchangeLimits limits(int chunks, qint64 bytes)
{
    ExchangeLimits some;
    some.keptChunks = chunks;
    some.keptBytes = bytes;
    return some;
}

} // namespace

class EventLogTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void idsGrowByOneFromTheFirst();
    void keepsAThousandChunksAndSixteenMebibytes();
    void keepsTheLastChunksByCount();
    void keepsTheLastChunksByBytes();
    void dropsNothingOnAnEstimate();
    void countsLargeAndSmallChunksTogether();
    void aChunkLargerThanEverythingKeptIsNumberedButNotKept();
    void givesWhatCameAfterAnId();
    void givesNothingToWhoHasEverything();
    void tellsHowManyAreGone();
    void knowsNoNumberForAnIdOfAnEarlierRun();
    void knowsNoNumberForAnIdThatIsStillToCome();
    void theIdBeforeTheFirstMissesNothing();
    void survivesTheLargestId();
};

void EventLogTest::idsGrowByOneFromTheFirst()
{
    EventLog log(1700000000000000, {});
    QCOMPARE(log.append(Direction::Published, chunk(1))->id(), 1700000000000000);
    QCOMPARE(log.append(Direction::Delivered, chunk(1))->id(), 1700000000000001);
    QCOMPARE(log.append(Direction::Published, chunk(1))->id(), 1700000000000002);
}

void EventLogTest::keepsAThousandChunksAndSixteenMebibytes()
{
    QCOMPARE(ExchangeLimits().keptChunks, 1000);
    QCOMPARE(ExchangeLimits().keptBytes, 16777216);
    EventLog log(1, {});
    for (int i = 0; i < 1001; ++i)
        log.append(Direction::Published, chunk(1));
    QCOMPARE(log.count(), 1000);
    const int mebibyte = 1024 * 1024;
    for (int i = 0; i < 17; ++i)
        log.append(Direction::Published, chunk(mebibyte));
    QCOMPARE(log.count(), 15); // 16 and their frames are more than 16 MiB
    QVERIFY(log.bytes() <= 16 * mebibyte);
}

void EventLogTest::keepsTheLastChunksByCount()
{
    EventLog log(10, limits(3, 1000000));
    for (int i = 0; i < 5; ++i)
        log.append(Direction::Published, chunk(1));
    QCOMPARE(log.count(), 3);
    QCOMPARE(ids(log.since(11)), (QVector<qint64>{12, 13, 14}));
}

void EventLogTest::keepsTheLastChunksByBytes()
{
    EventLog log(10, limits(1000, 25000));
    for (int i = 0; i < 5; ++i)
        log.append(Direction::Published, chunk(10000));
    QCOMPARE(log.count(), 2);
    qint64 texts = 0;
    for (const ChunkEventPtr &event : log.since(12).events)
        texts += event->text().size();
    QCOMPARE(log.bytes(), texts);
}

// Numbers are estimated at their longest; twelve of them would fill the log by the estimate alone.
void EventLogTest::dropsNothingOnAnEstimate()
{
    QJsonArray numbers;
    for (int i = 0; i < 100; ++i)
        numbers.append(1);
    const QJsonObject small{{QStringLiteral("n"), numbers}};
    EventLog log(1, limits(1000, 3000));
    for (int i = 0; i < 10; ++i)
        log.append(Direction::Published, small);
    QCOMPARE(log.count(), 10);
    QVERIFY(log.bytes() <= 3000);
}

void EventLogTest::countsLargeAndSmallChunksTogether()
{
    EventLog log(1, limits(1000, 20000));
    log.append(Direction::Published, chunk(10));
    log.append(Direction::Published, chunk(19000));
    QCOMPARE(log.count(), 2);
    log.append(Direction::Published, chunk(2000));
    QCOMPARE(ids(log.since(2)), (QVector<qint64>{3}));
    QCOMPARE(log.count(), 1);
}

void EventLogTest::aChunkLargerThanEverythingKeptIsNumberedButNotKept()
{
    EventLog log(1, limits(1000, 1000));
    log.append(Direction::Published, chunk(10));
    const ChunkEventPtr large = log.append(Direction::Published, chunk(2000));
    QCOMPARE(large->id(), 2);
    QVERIFY(large->text().size() > 2000);
    QCOMPARE(log.count(), 0);
    QCOMPARE(log.bytes(), 0);
    const EventLog::Backlog backlog = log.since(1);
    QVERIFY(backlog.gap);
    QCOMPARE(backlog.missed, std::make_optional<qint64>(1));
    QCOMPARE(log.append(Direction::Published, chunk(1))->id(), 3);
}

void EventLogTest::givesWhatCameAfterAnId()
{
    EventLog log(100, {});
    for (int i = 0; i < 4; ++i)
        log.append(Direction::Published, chunk(1));
    const EventLog::Backlog backlog = log.since(101);
    QVERIFY(!backlog.gap);
    QCOMPARE(ids(backlog), (QVector<qint64>{102, 103}));
}

void EventLogTest::givesNothingToWhoHasEverything()
{
    EventLog log(100, {});
    log.append(Direction::Published, chunk(1));
    const EventLog::Backlog backlog = log.since(100);
    QVERIFY(!backlog.gap);
    QVERIFY(backlog.events.empty());
}

void EventLogTest::tellsHowManyAreGone()
{
    EventLog log(100, limits(2, 1000000));
    for (int i = 0; i < 6; ++i)
        log.append(Direction::Published, chunk(1));
    const EventLog::Backlog backlog = log.since(101); // 102 and 103 are gone
    QVERIFY(backlog.gap);
    QCOMPARE(backlog.missed, std::make_optional<qint64>(2));
    QCOMPARE(ids(backlog), (QVector<qint64>{104, 105}));
    QVERIFY(!log.since(103).gap);
    QCOMPARE(ids(log.since(103)), (QVector<qint64>{104, 105}));
}

void EventLogTest::knowsNoNumberForAnIdOfAnEarlierRun()
{
    EventLog log(100, {});
    log.append(Direction::Published, chunk(1));
    const EventLog::Backlog backlog = log.since(98);
    QVERIFY(backlog.gap);
    QVERIFY(!backlog.missed);
    QCOMPARE(ids(backlog), (QVector<qint64>{100}));
    QVERIFY(EventLog(100, {}).since(5).gap);
}

void EventLogTest::knowsNoNumberForAnIdThatIsStillToCome()
{
    EventLog log(100, {});
    log.append(Direction::Published, chunk(1));
    const EventLog::Backlog backlog = log.since(101);
    QVERIFY(backlog.gap);
    QVERIFY(!backlog.missed);
    QCOMPARE(ids(backlog), (QVector<qint64>{100}));
}

void EventLogTest::theIdBeforeTheFirstMissesNothing()
{
    EventLog log(100, {});
    QVERIFY(!log.since(99).gap);
    log.append(Direction::Published, chunk(1));
    QVERIFY(!log.since(99).gap);
    QCOMPARE(ids(log.since(99)), (QVector<qint64>{100}));
}

void EventLogTest::survivesTheLargestId()
{
    EventLog log(100, {});
    log.append(Direction::Published, chunk(1));
    QCOMPARE(ids(log.since(std::numeric_limits<qint64>::max())), (QVector<qint64>{100}));
    QCOMPARE(ids(log.since(0)), (QVector<qint64>{100}));
}

QTEST_APPLESS_MAIN(EventLogTest)
#include "tst_eventlog.moc"
