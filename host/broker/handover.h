#pragma once

#include "broker/brokerlink.h"
#include "broker/brokersettings.h"
#include "broker/wakepipe.h"

#include <QtCore/QDeadlineTimer>

#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <optional>

namespace host {

/// What the event loop and the broker's thread share: the outbox, the deliveries that wait for the
/// module, and the wish to end. Every call takes the one lock for a moment; none waits for the
/// broker. Shared by both sides, so that a thread that hangs in the resolver harms nobody.
class Handover
{
public:
    explicit Handover(const BrokerLimits &limits);

    // The event loop's side.

    /// `callLoop` is called on any thread when deliveries wait; it posts an event.
    void setLoop(std::function<void()> callLoop);
    int push(OutgoingMessage message); ///< returns how many older ones it cost
    bool isCrowded() const;            ///< there will not be room for all much longer
    bool take(Delivery *delivery);     ///< false: there is none, or the outbox is too full
    void handled(const Delivery &delivery);
    void stopDelivering();
    void stop();                                      ///< the thread is to flush and end
    bool waitForEnd(std::chrono::milliseconds limit); ///< false: it did not end in time
    void breakConnection();                           ///< ends what the thread blocks in
    BrokerCounts counts() const;

    // The thread's side.

    /// The next message that may be sent, marked as sent; `isRefused` tells which never can be.
    template<typename Predicate>
    std::optional<OutgoingMessage> nextToSend(int window, Predicate isRefused);
    int settle(quint64 number, bool multiple);
    int rewind();
    bool dropFirst(OutgoingMessage *message); ///< of what waits; counted as refused
    std::optional<quint64> takeAck();
    bool deliver(Delivery delivery); ///< false: nothing is delivered any more
    bool isInboxFull() const;        ///< and the event loop is able to empty it
    void reject();

    quint64 connected(int descriptor); ///< a new epoch begins
    void ready();                      ///< declared and consuming
    void setBlocked(bool isBlocked);
    void disconnected(); ///< before the descriptor is closed; the epoch ends
    void ended();

    bool isStopping() const;
    bool isFlushed() const; ///< stopping, and all is confirmed or the time is up
    std::chrono::milliseconds timeLeft() const; ///< until it is up, from `stop` on

    /// False when there is work already; otherwise the next work wakes the pipe.
    bool prepareToSleep();
    void awake();
    int wakeDescriptor() const { return m_pipe.descriptor(); }

private:
    void work(); // locked
    void callLoopIfNeeded();

    mutable std::mutex m_mutex;
    std::condition_variable m_endedCondition;
    WakePipe m_pipe;
    BrokerLimits m_limits;
    Outbox m_outbox;
    std::deque<Delivery> m_inbox;
    qint64 m_inboxBytes = 0;
    std::function<void()> m_callLoop;
    BrokerCounts m_counts;
    QDeadlineTimer m_deadline;
    quint64 m_epoch = 0;
    int m_descriptor = -1;
    bool m_isLoopCalled = false;
    bool m_isDelivering = true;
    bool m_isStopping = false;
    bool m_hasEnded = false;
    bool m_hasWork = false;
    bool m_isAsleep = false;
};

template<typename Predicate>
std::optional<OutgoingMessage> Handover::nextToSend(int window, Predicate isRefused)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    while (const OutgoingMessage *front = m_outbox.front(window)) {
        if (!isRefused(*front)) {
            OutgoingMessage message = *front;
            m_outbox.advance();
            return message;
        }
        m_outbox.skip();
        ++m_counts.refused;
        callLoopIfNeeded();
    }
    return std::nullopt;
}

} // namespace host
