#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QtGlobal>

#include <atomic>
#include <thread>
#include <vector>

/// A local client that asks for one context again and again on a thread of its own, and notes how
/// long each answer takes. Its socket is its own too: the other client of the tests is for one
/// thread. Lives in a test.
class Pulse
{
public:
    explicit Pulse(quint16 port);
    ~Pulse();
    Pulse(const Pulse &) = delete;
    Pulse &operator=(const Pulse &) = delete;

    static const char *path() { return "/context/pulse"; }

    /// Fewer answers have no 99th percentile worth the name.
    static constexpr int enough = 1000;

    void stop();
    int answers() const { return m_answers; }
    int failures() const { return m_failures; }

    /// How long each answer took, in microseconds; after `stop`.
    const std::vector<qint64> &micros() const { return m_micros; }

    /// The slowest of them, and the 99th percentile where there were enough.
    static QByteArray summary(std::vector<qint64> micros);

private:
    void run(quint16 port);

    std::atomic<bool> m_isOver{false};
    std::atomic<int> m_answers{0};
    std::atomic<int> m_failures{0};
    std::vector<qint64> m_micros;
    std::thread m_thread;
};
