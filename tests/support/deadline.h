#pragma once

#include <QtCore/QDeadlineTimer>
#include <QtCore/QThread>

#include <chrono>

namespace support {

/// How long a test waits for what must come before it calls it missing. Far above what is needed,
/// so that a busy machine fails no test.
constexpr std::chrono::milliseconds patience(30000);

/// Asks again and again until the condition holds; false when it never did. For what no signal
/// tells: the log, the counts, the end of another process.
template<typename Condition>
bool waitUntil(Condition condition, std::chrono::milliseconds limit = patience)
{
    const QDeadlineTimer deadline(limit);
    while (!condition()) {
        if (deadline.hasExpired())
            return false;
        QThread::msleep(1); // leaves the processor to whom it waits for
    }
    return true;
}

} // namespace support
