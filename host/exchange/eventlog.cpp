#include "exchange/eventlog.h"

namespace host {

EventLog::EventLog(qint64 firstId, const ExchangeLimits &limits)
    : m_limits(limits)
    , m_firstId(firstId)
    , m_nextId(firstId)
{
}

ChunkEventPtr EventLog::append(Direction direction, const QJsonObject &chunk, qint64 estimate)
{
    auto event = std::make_shared<const ChunkEvent>(m_nextId, direction, chunk, estimate);
    m_kept.push_back({event, event->size()});
    ++m_nextId; // only now: a text too large for the memory throws, and ids have no holes
    m_bytes += event->size();
    trim();
    return event;
}

EventLog::Backlog EventLog::since(qint64 id) const
{
    Backlog backlog;
    const qint64 oldest = m_nextId - qint64(m_kept.size());
    qint64 next = oldest;
    if (id < m_firstId - 1 || id >= m_nextId) {
        backlog.gap = true;
    } else if (id + 1 < oldest) {
        backlog.gap = true;
        backlog.missed = oldest - (id + 1);
    } else {
        next = id + 1;
    }
    backlog.events.reserve(size_t(m_nextId - next));
    for (auto it = m_kept.begin() + (next - oldest); it != m_kept.end(); ++it)
        backlog.events.push_back(it->event);
    return backlog;
}

void EventLog::trim()
{
    while (count() > m_limits.keptChunks)
        dropOldest();
    if (m_bytes > m_limits.keptBytes)
        countExactly();
    while (m_bytes > m_limits.keptBytes)
        dropOldest();
}

// Sizes are estimates, a little too high, until a text is made. Nothing is dropped on an estimate.
void EventLog::countExactly()
{
    for (Kept &kept : m_kept) {
        const qint64 size = kept.event->text().size();
        m_bytes += size - kept.size;
        kept.size = size;
    }
}

void EventLog::dropOldest()
{
    m_bytes -= m_kept.front().size;
    m_kept.pop_front();
}

} // namespace host
