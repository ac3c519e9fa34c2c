#pragma once

#include <QtCore/QtGlobal>

/// The time as the context store sees it. Tests hand over a clock of their own and move it.
class Clock
{
public:
    Clock() = default;
    Clock(const Clock &) = delete;
    Clock &operator=(const Clock &) = delete;
    virtual ~Clock() = default;

    /// Milliseconds since 1970-01-01 UTC.
    virtual qint64 now() const = 0;

    /// Sleeps once, until `moment` but for a second at the most; a moment that has passed returns
    /// at once. Somebody may set the clock meanwhile, back too: whoever waits looks at `now()`
    /// again and may have to wait for another moment.
    virtual void sleepUntil(qint64 moment) = 0;
};

/// The machine's clock.
class SystemClock final : public Clock
{
public:
    qint64 now() const override;
    void sleepUntil(qint64 moment) override;
};
