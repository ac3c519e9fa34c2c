#include "broker/handover.h"

#include <sys/socket.h>

namespace host {

using Lock = std::lock_guard<std::mutex>;

Handover::Handover(const BrokerLimits &limits)
    : m_limits(limits)
    , m_outbox(limits.outbox)
{
}

void Handover::setLoop(std::function<void()> callLoop)
{
    const Lock lock(m_mutex);
    m_callLoop = std::move(callLoop);
}

int Handover::push(OutgoingMessage message)
{
    const Lock lock(m_mutex);
    const bool isFlowing = m_counts.connected && !m_counts.blocked;
    const int dropped = m_outbox.push(std::move(message), isFlowing);
    m_counts.dropped += quint64(dropped);
    work();
    return dropped;
}

bool Handover::isCrowded() const
{
    const Lock lock(m_mutex);
    return m_outbox.isBusy();
}

bool Handover::take(Delivery *delivery)
{
    const Lock lock(m_mutex);
    m_isLoopCalled = false;
    if (m_inbox.empty() || m_outbox.isBusy())
        return false;
    *delivery = std::move(m_inbox.front());
    m_inbox.pop_front();
    m_inboxBytes -= delivery->size;
    m_isLoopCalled = true; // it comes again by itself until there is nothing left
    return true;
}

void Handover::handled(const Delivery &delivery)
{
    const Lock lock(m_mutex);
    ++m_counts.delivered;
    if (delivery.epoch == m_epoch)
        m_outbox.pushAck(delivery.tag);
    work();
}

void Handover::stopDelivering()
{
    const Lock lock(m_mutex);
    m_isDelivering = false;
    m_inbox.clear();
    m_inboxBytes = 0;
}

void Handover::stop()
{
    const Lock lock(m_mutex);
    m_isStopping = true;
    m_deadline.setRemainingTime(m_limits.flush);
    work();
}

bool Handover::waitForEnd(std::chrono::milliseconds limit)
{
    std::unique_lock<std::mutex> lock(m_mutex);
    return m_endedCondition.wait_for(lock, limit, [this] { return m_hasEnded; });
}

void Handover::breakConnection()
{
    const Lock lock(m_mutex);
    if (m_descriptor >= 0)
        ::shutdown(m_descriptor, SHUT_RDWR);
}

BrokerCounts Handover::counts() const
{
    const Lock lock(m_mutex);
    BrokerCounts counts = m_counts;
    counts.waiting = m_outbox.messages();
    return counts;
}

int Handover::settle(quint64 number, bool multiple)
{
    const Lock lock(m_mutex);
    const int settled = m_outbox.settle(number, multiple);
    m_counts.published += quint64(settled);
    callLoopIfNeeded();
    return settled;
}

int Handover::rewind()
{
    const Lock lock(m_mutex);
    const int again = m_outbox.rewind();
    m_counts.resent += quint64(again);
    return again;
}

bool Handover::dropFirst(OutgoingMessage *message)
{
    const Lock lock(m_mutex);
    const OutgoingMessage *front = m_outbox.front();
    if (!front)
        return false;
    *message = *front;
    m_outbox.skip();
    ++m_counts.refused;
    callLoopIfNeeded();
    return true;
}

std::optional<quint64> Handover::takeAck()
{
    const Lock lock(m_mutex);
    return m_outbox.takeAck();
}

bool Handover::deliver(Delivery delivery)
{
    const Lock lock(m_mutex);
    if (!m_isDelivering)
        return false;
    delivery.epoch = m_epoch;
    m_inboxBytes += delivery.size;
    m_inbox.push_back(std::move(delivery));
    callLoopIfNeeded();
    return true;
}

bool Handover::isInboxFull() const
{
    const Lock lock(m_mutex);
    return m_inboxBytes > m_limits.inboxBytes && !m_outbox.isBusy();
}

void Handover::reject()
{
    const Lock lock(m_mutex);
    ++m_counts.rejected;
}

quint64 Handover::connected(int descriptor)
{
    const Lock lock(m_mutex);
    m_descriptor = descriptor;
    return ++m_epoch;
}

void Handover::ready()
{
    const Lock lock(m_mutex);
    ++m_counts.connections;
    m_counts.connected = true;
}

void Handover::setBlocked(bool isBlocked)
{
    const Lock lock(m_mutex);
    m_counts.blocked = isBlocked;
}

void Handover::disconnected()
{
    const Lock lock(m_mutex);
    m_descriptor = -1;
    ++m_epoch;
    m_counts.connected = false;
    m_counts.blocked = false;
    m_counts.resent += quint64(m_outbox.rewind());
    m_outbox.forgetAcks();
    m_inbox.clear(); // the broker delivers them again
    m_inboxBytes = 0;
}

void Handover::ended()
{
    const Lock lock(m_mutex);
    m_hasEnded = true;
    m_endedCondition.notify_all();
}

bool Handover::isStopping() const
{
    const Lock lock(m_mutex);
    return m_isStopping;
}

bool Handover::isFlushed() const
{
    const Lock lock(m_mutex);
    return m_isStopping && (m_outbox.isEmpty() || m_deadline.hasExpired());
}

std::chrono::milliseconds Handover::timeLeft() const
{
    const Lock lock(m_mutex);
    return std::chrono::milliseconds(m_deadline.remainingTime());
}

bool Handover::prepareToSleep()
{
    const Lock lock(m_mutex);
    m_isAsleep = !m_hasWork;
    m_hasWork = false;
    return m_isAsleep;
}

void Handover::awake()
{
    m_pipe.clear();
    const Lock lock(m_mutex);
    m_isAsleep = false;
}

void Handover::work()
{
    m_hasWork = true;
    if (m_isAsleep)
        m_pipe.wake();
    m_isAsleep = false;
}

void Handover::callLoopIfNeeded()
{
    if (m_isLoopCalled || m_inbox.empty() || m_outbox.isBusy() || !m_callLoop)
        return;
    m_isLoopCalled = true;
    m_callLoop();
}

} // namespace host
