#pragma once

#include "exchange/eventlog.h"
#include "exchange/exchange.h"

#include <QtCore/QTimer>
#include <QtCore/QVector>

namespace host {

/// Somebody who follows the chunks as they go by. Does not throw and does not publish.
class ChunkFollower
{
public:
    ChunkFollower(const ChunkFollower &) = delete;
    ChunkFollower &operator=(const ChunkFollower &) = delete;

    virtual void chunkEvent(const ChunkEvent &event) = 0;

    /// Every so often, so that a quiet stream stays alive.
    virtual void heartbeat(const QByteArray &text) = 0;

protected:
    ChunkFollower() = default;
    ~ChunkFollower() = default;
};

/// The exchange that is always there: keeps the last chunks for those who come back and tells every
/// follower what goes by. The application owns it; followers may leave from inside a call. Lives on
/// the event-loop thread, with one timer for all followers.
class EmbeddedExchange final : public Exchange
{
public:
    explicit EmbeddedExchange(qint64 firstId, const ExchangeLimits &limits = {});

    void published(const QJsonObject &chunk) override;
    void delivering(const QJsonObject &chunk) override;

    const ExchangeLimits &limits() const { return m_limits; }

    EventLog::Backlog since(qint64 id);

    /// `follower` is not owned: it unfollows before it goes.
    void follow(ChunkFollower *follower);

    /// Harmless for one that does not follow.
    void unfollow(ChunkFollower *follower);

    int followers() const;

private:
    struct Chunk
    {
        Direction direction;
        QJsonObject object;
        qint64 estimate; ///< of its text's size
    };

    void append(Direction direction, const QJsonObject &chunk);
    void keepWaiting();
    template<typename Call>
    void tellFollowers(Call call);
    void sweep();

    ExchangeLimits m_limits;
    EventLog m_log;
    QVector<Chunk> m_waiting; ///< for the log, in their order
    QTimer m_keepWaiting;
    QVector<ChunkFollower *> m_followers; // null: left while the others were being told
    bool m_telling = false;
    QTimer m_heartbeat;
};

} // namespace host
