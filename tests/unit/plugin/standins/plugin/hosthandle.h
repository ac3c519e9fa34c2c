#pragma once

#include "journal.h"

class ChunkPublisher;

/// A pointer to a publisher that notes when it is set and cleared.
class NotedPublisher
{
public:
    NotedPublisher &operator=(ChunkPublisher *publisher)
    {
        journal().append(publisher ? QStringLiteral("handle set")
                                   : QStringLiteral("handle cleared"));
        m_publisher = publisher;
        return *this;
    }

    operator ChunkPublisher *() const { return m_publisher; }

private:
    ChunkPublisher *m_publisher = nullptr;
};

struct HostHandle : Journaled
{
    HostHandle()
        : Journaled(QStringLiteral("HostHandle"))
    {
        latest = this;
    }

    NotedPublisher publisher;

    static inline HostHandle *latest = nullptr;
};
