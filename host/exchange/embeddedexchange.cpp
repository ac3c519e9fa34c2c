#include "exchange/embeddedexchange.h"

namespace host {

EmbeddedExchange::EmbeddedExchange(qint64 firstId, const ExchangeLimits &limits)
    : m_limits(limits)
    , m_log(firstId, limits)
{
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

void EmbeddedExchange::follow(ChunkFollower *follower)
{
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
    const ChunkEventPtr event = m_log.append(direction, chunk);
    tellFollowers([&event](ChunkFollower *follower) { follower->chunkEvent(*event); });
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
