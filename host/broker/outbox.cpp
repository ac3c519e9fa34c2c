#include "broker/outbox.h"

#include <algorithm>

namespace host {

Outbox::Outbox(const OutboxLimits &limits)
    : m_limits(limits)
{
}

int Outbox::push(OutgoingMessage message, bool isFlowing)
{
    const int times = isFlowing ? m_limits.flowing : 1;
    ++m_waitingCount;
    m_waitingBytes += message.size();
    m_waiting.push_back({std::move(message), false, 0, false});
    int dropped = 0;
    for (; isFull(times) && m_waitingCount > 1; ++dropped) // a single one always fits
        dropOldest();
    passAcks();
    return dropped;
}

void Outbox::pushAck(quint64 tag)
{
    m_waiting.push_back({{}, true, tag, false});
    passAcks();
}

const OutgoingMessage *Outbox::front(int window)
{
    const bool isWindowFull =
        m_sentCount >= window || (m_sentCount > 0 && m_sentBytes >= m_limits.windowBytes);
    return m_waiting.empty() || isWindowFull ? nullptr : &m_waiting.front().message;
}

void Outbox::advance()
{
    Entry entry = std::move(m_waiting.front());
    m_waiting.pop_front();
    const qint64 size = entry.message.size();
    --m_waitingCount;
    m_waitingBytes -= size;
    ++m_sentCount;
    m_sentBytes += size;
    entry.number = ++m_lastNumber;
    m_sent.push_back(std::move(entry));
    passAcks();
}

void Outbox::skip()
{
    --m_waitingCount;
    m_waitingBytes -= m_waiting.front().message.size();
    m_waiting.pop_front();
    passAcks();
}

int Outbox::settle(quint64 number, bool multiple)
{
    int settled = 0;
    for (Entry &entry : m_sent) {
        if (entry.isAck)
            continue;
        if (entry.number > number)
            break;
        if (entry.isSettled || (entry.number < number && !multiple))
            continue;
        entry.isSettled = true;
        ++settled;
        --m_sentCount;
        m_sentBytes -= entry.message.size();
        entry.message = OutgoingMessage();
    }
    shrink();
    return settled;
}

std::optional<quint64> Outbox::takeAck()
{
    std::optional<quint64> tag;
    tag.swap(m_dueAck);
    return tag;
}

int Outbox::rewind()
{
    const int again = m_sentCount;
    for (auto it = m_sent.rbegin(); it != m_sent.rend(); ++it) {
        if (it->isSettled)
            continue;
        if (!it->isAck) {
            ++m_waitingCount;
            m_waitingBytes += it->message.size();
            it->number = 0;
        }
        m_waiting.push_front(std::move(*it));
    }
    m_sent.clear();
    m_sentCount = 0;
    m_sentBytes = 0;
    m_lastNumber = 0;
    return again;
}

void Outbox::forgetAcks()
{
    const auto isAck = [](const Entry &entry) { return entry.isAck; };
    for (std::deque<Entry> *entries : {&m_waiting, &m_sent})
        entries->erase(std::remove_if(entries->begin(), entries->end(), isAck), entries->end());
    m_dueAck.reset();
}

void Outbox::dropOldest()
{
    const auto oldest = std::find_if(m_waiting.begin(), m_waiting.end(),
                                     [](const Entry &entry) { return !entry.isAck; });
    --m_waitingCount;
    m_waitingBytes -= oldest->message.size();
    m_waiting.erase(oldest);
}

// Acknowledgements in front have nothing to be sent: they stand behind what is on the way, so that
// the first of what waits is always a message.
void Outbox::passAcks()
{
    while (!m_waiting.empty() && m_waiting.front().isAck) {
        m_sent.push_back(std::move(m_waiting.front()));
        m_waiting.pop_front();
    }
    shrink();
}

void Outbox::shrink()
{
    while (!m_sent.empty() && (m_sent.front().isAck || m_sent.front().isSettled)) {
        if (m_sent.front().isAck)
            m_dueAck = m_sent.front().number;
        m_sent.pop_front();
    }
}

} // namespace host
