#include "system/clock.h"

#include <QtCore/QDateTime>
#include <QtCore/QThread>

qint64 SystemClock::now() const
{
    return QDateTime::currentMSecsSinceEpoch();
}

void SystemClock::sleepUntil(qint64 moment)
{
    constexpr qint64 Longest = 1000;
    const qint64 left = moment - now();
    if (left > 0)
        QThread::msleep(static_cast<unsigned long>(qMin(left, Longest)));
}
