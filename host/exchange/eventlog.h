#pragma once

#include "exchange/chunkevent.h"
#include "exchange/exchangelimits.h"

#include <deque>
#include <memory>
#include <vector>

namespace host {

using ChunkEventPtr = std::shared_ptr<const ChunkEvent>;

/// The last chunks that went by, numbered, for followers that come back. A value without clock or
/// socket; the embedded exchange owns it. Lives on the event-loop thread.
class EventLog
{
public:
    /// What a follower that comes back gets: first the news that something is gone, if it is, then
    /// what is still there.
    struct Backlog
    {
        bool gap = false;
        std::optional<qint64> missed; ///< with a gap: how many chunks are gone, if that is known
        std::vector<ChunkEventPtr> events;
    };

    /// `firstId` must be above every id of an earlier run.
    EventLog(qint64 firstId, const ExchangeLimits &limits);

    /// Numbers the chunk and keeps it, at the cost of the oldest ones. One that is larger than all
    /// that may be kept is numbered and returned, but not kept.
    ChunkEventPtr append(Direction direction, const QJsonObject &chunk)
    {
        return append(direction, chunk, ChunkEvent::estimatedSize(chunk));
    }
    ChunkEventPtr append(Direction direction, const QJsonObject &chunk, qint64 estimate);

    /// What came after `id`. An id of another run (lower, or higher when the clock was set back)
    /// gets everything that is kept, behind a gap of unknown size.
    Backlog since(qint64 id) const;

    qint64 bytes() const { return m_bytes; }
    int count() const { return int(m_kept.size()); }

private:
    struct Kept
    {
        ChunkEventPtr event;
        qint64 size = 0; ///< as counted in m_bytes
    };

    void trim();
    void countExactly();
    void dropOldest();

    ExchangeLimits m_limits;
    qint64 m_firstId;
    qint64 m_nextId;
    qint64 m_bytes = 0;
    std::deque<Kept> m_kept;
};

} // namespace host
