#include "http/deadlines.h"

#include <QtTest/QTest>

#include <memory>
#include <vector>

using namespace host;

namespace {

constexpr int period = 1000;

// All that have run out by the moment, in the order in which they are told.
std::vector<Timed *> expiredBy(qint64 moment, DeadlineList *list)
{
    std::vector<Timed *> all;
    while (Timed *expired = list->takeExpired(moment))
        all.push_back(expired);
    return all;
}

} // namespace

/// Time-outs with a clock that the test moves.
class TestDeadlines : public QObject
{
    Q_OBJECT

    using Expired = std::vector<Timed *>;

private Q_SLOTS:
    void nothingRunsOutOfAnEmptyList()
    {
        DeadlineList list(period);
        QVERIFY(!list.takeExpired(1000000));
    }

    void runsOutWhenTheWholePeriodIsOverAndNotBefore()
    {
        DeadlineList list(period);
        Timed one;
        list.restart(one, 5);
        QVERIFY(expiredBy(4 + period, &list).empty());
        QCOMPARE(expiredBy(5 + period, &list), Expired{&one});
    }

    void runsOutOnce()
    {
        DeadlineList list(period);
        Timed one;
        list.restart(one, 0);
        QCOMPARE(expiredBy(period, &list), Expired{&one});
        QVERIFY(expiredBy(10 * period, &list).empty());
    }

    void runsOutInTheOrderOfTheLastStart()
    {
        DeadlineList list(period);
        Timed first;
        Timed second;
        Timed third;
        list.restart(first, 0);
        list.restart(second, 0);
        list.restart(third, 1);
        list.restart(first, 2);
        QCOMPARE(expiredBy(period, &list), Expired{&second});
        QCOMPARE(expiredBy(period + 2, &list), (Expired{&third, &first}));
    }

    void restartWithinTheTimeOfAnotherListLeavesThatOne()
    {
        DeadlineList heads(period);
        DeadlineList bodies(3 * period);
        Timed one;
        heads.restart(one, 0);
        bodies.restart(one, 10);
        QVERIFY(expiredBy(2 * period, &heads).empty());
        QCOMPARE(expiredBy(10 + 3 * period, &bodies), Expired{&one});
    }

    void stoppedOrDestroyedNeverRunsOut()
    {
        DeadlineList list(period);
        Timed stopped;
        auto destroyed = std::make_unique<Timed>();
        Timed kept;
        for (Timed *each : {&stopped, destroyed.get(), &kept})
            list.restart(*each, 0);
        stopped.stopTiming();
        stopped.stopTiming(); // again, which is nothing
        destroyed.reset();
        QCOMPARE(expiredBy(period, &list), Expired{&kept});
    }
};

QTEST_APPLESS_MAIN(TestDeadlines)
#include "tst_deadlines.moc"
