#pragma once

#include "system/clock.h"

namespace support {

/// A clock that stands still until the test moves it. Sleeping jumps to the moment asked for and is
/// counted. Lives in a test function, on its thread.
class MovableClock final : public Clock
{
public:
    explicit MovableClock(qint64 now = 1600000000000)
        : m_now(now)
    {
    }

    qint64 now() const override { return m_now; }

    void sleepUntil(qint64 moment) override
    {
        ++m_sleeps;
        if (moment > m_now)
            m_now = moment;
    }

    void set(qint64 now) { m_now = now; }
    void advance(qint64 milliseconds) { m_now += milliseconds; }
    int sleeps() const { return m_sleeps; }

private:
    qint64 m_now;
    int m_sleeps = 0;
};

} // namespace support
