#include "system/clock.h"

#include <QtCore/QDateTime>
#include <QtTest/QtTest>

#ifdef Q_OS_WIN
#include <windows.h>
#else
#include <ctime>
#endif

namespace {

// Seconds of a processor that this process has used. On Windows std::clock() counts all time.
double processorSeconds()
{
#ifdef Q_OS_WIN
    FILETIME created, ended, kernel, user;
    GetProcessTimes(GetCurrentProcess(), &created, &ended, &kernel, &user);
    const auto ticks = [](const FILETIME &time) {
        return double(quint64(time.dwHighDateTime) << 32 | time.dwLowDateTime);
    };
    return (ticks(kernel) + ticks(user)) / 1e7; // of 100 ns
#else
    return double(std::clock()) / CLOCKS_PER_SEC;
#endif
}

} // namespace

class TestSystemClock : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void nowIsTheMachinesTime();
    void sleepEndsAtTheMoment();
    void sleepUntilThePastReturnsAtOnce();
    void sleepUntilAFarMomentEndsLongBefore();
    void sleepingDoesNotBurnACore();
};

void TestSystemClock::nowIsTheMachinesTime()
{
    const SystemClock clock;
    const qint64 before = QDateTime::currentMSecsSinceEpoch();
    const qint64 now = clock.now();
    QVERIFY(now >= before);
    QVERIFY(now <= QDateTime::currentMSecsSinceEpoch());
}

void TestSystemClock::sleepEndsAtTheMoment()
{
    SystemClock clock;
    const qint64 moment = clock.now() + 20;
    clock.sleepUntil(moment);
    QVERIFY(clock.now() >= moment);
}

void TestSystemClock::sleepUntilThePastReturnsAtOnce()
{
    SystemClock clock;
    const qint64 before = clock.now();
    clock.sleepUntil(before - 1000);
    clock.sleepUntil(0);
    QVERIFY(clock.now() - before < 1000);
}

void TestSystemClock::sleepUntilAFarMomentEndsLongBefore()
{
    SystemClock clock;
    const qint64 moment = clock.now() + 3600000; // as after a clock stepped back by an hour
    clock.sleepUntil(moment);
    QVERIFY(clock.now() < moment);
}

void TestSystemClock::sleepingDoesNotBurnACore()
{
    SystemClock clock;
    const double before = processorSeconds();
    clock.sleepUntil(clock.now() + 200);
    const double burnt = processorSeconds() - before;
    QVERIFY2(burnt < 0.1, qPrintable(QString::number(burnt)));
}

QTEST_GUILESS_MAIN(TestSystemClock)
#include "tst_systemclock.moc"
