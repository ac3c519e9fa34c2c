#include "exchange/embeddedexchange.h"

#include "exchange/exchangelog.h"

#include <exception>
#include <utility>

namespace host {

namespace {

constexpr int mostWaiting = 64;

} // namespace

EmbeddedExchange::EmbeddedExchange(qint64 firstId, const ExchangeLimits &limits)
    : m_limits(limits)
    , m_log(firstId, limits)
{
    m_keepWaiting.setSingleShot(true);
    m_keepWaiting.setInterval(0);
    QObject::connect(&m_keepWaiting, &QTimer::timeout, &m_keepWaiting, [this] { keepWaiting(); });
    m_heartbeat.setInterval(limits.heartbeat);
    QObject::connect(&m_heartbeat, &QTimer::timeout, &m_heartbeat, [this] {
        const QByteArray text = heartbeatText();
        tellFollowers([&text](ChunkFollower *follower) { follower->heartbeat(text); });
    });
}

void EmbeddedExchange::published(const QJsonObject &chunk)
{
    append(Direction::Published, chunk);
}

void EmbeddedExchange::delivering(const QJsonObject &chunk)
{
    append(Direction::Delivered, chunk);
}

EventLog::Backlog EmbeddedExchange::since(qint64 id)
{
    keepWaiting();
    return m_log.since(id);
}

void EmbeddedExchange::follow(ChunkFollower *follower)
{
    keepWaiting(); // what came before is no news
    m_followers.append(follower);
    if (!m_heartbeat.isActive())
        m_heartbeat.start();
}

void EmbeddedExchange::unfollow(ChunkFollower *follower)
{
    const int index = m_followers.indexOf(follower);
    if (index < 0)
        return;
    m_followers[index] = nullptr;
    if (!m_telling)
        sweep();
}

int EmbeddedExchange::followers() const
{
    return m_followers.size() - m_followers.count(nullptr);
}

void EmbeddedExchange::append(Direction direction, const QJsonObject &chunk)
{
    // To print a large chunk takes long, and while nobody follows nobody waits for it: whoever
    // caused the chunk is answered first.
    const qint64 estimate = ChunkEvent::estimatedSize(chunk);
    const bool isLarge = estimate > ChunkEvent::largestTree;
    if (m_followers.isEmpty() && (!m_waiting.isEmpty() || isLarge)) {
        m_waiting.append({direction, chunk, estimate});
        if (m_waiting.size() >= mostWaiting)
            keepWaiting();
        else if (!m_keepWaiting.isActive())
            m_keepWaiting.start();
        return;
    }
    keepWaiting();
    const ChunkEventPtr event = m_log.append(direction, chunk, estimate);
    tellFollowers([&event](ChunkFollower *follower) { follower->chunkEvent(*event); });
}

void EmbeddedExchange::keepWaiting()
{
    m_keepWaiting.stop();
    const QVector<Chunk> waiting = std::exchange(m_waiting, {});
    for (const Chunk &chunk : waiting) {
        try {
            m_log.append(chunk.direction, chunk.object, chunk.estimate);
        } catch (const std::exception &exception) {
            qCWarning(lcExchange) << "A chunk could not be kept for followers:" << exception.what();
        }
    }
}

template<typename Call>
void EmbeddedExchange::tellFollowers(Call call)
{
    if (m_followers.isEmpty())
        return;
    m_telling = true;
    for (int i = 0; i < m_followers.size(); ++i) {
        if (m_followers.at(i))
            call(m_followers.at(i));
    }
    m_telling = false;
    sweep();
}

void EmbeddedExchange::sweep()
{
    m_followers.removeAll(nullptr);
    if (m_followers.isEmpty())
        m_heartbeat.stop();
}

} // namespace host
