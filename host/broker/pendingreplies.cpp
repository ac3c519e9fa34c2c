#include "broker/pendingreplies.h"

#include "broker/brokermapping.h"

#include <algorithm>

namespace host {

PendingReplies::PendingReplies(int most)
    : m_most(most)
{
}

void PendingReplies::expect(const QJsonObject &chunk, const ReplyAddress &address)
{
    const QString name = QString::fromUtf8(address.queue);
    m_byName[name].push_back({m_nextAge, correlationOf(chunk), address});
    m_ages.emplace(m_nextAge, name);
    ++m_nextAge;
    if (count() > m_most)
        forgetOldest();
}

std::optional<ReplyAddress> PendingReplies::take(const QJsonObject &chunk)
{
    if (m_ages.empty())
        return std::nullopt;
    const auto named = m_byName.find(chunk.value(QLatin1String("exchange")).toString());
    if (named == m_byName.end())
        return std::nullopt;
    const QJsonValue correlation = correlationOf(chunk);
    const auto found =
        std::find_if(named->begin(), named->end(), [&correlation](const Pending &pending) {
            return pending.correlation == correlation;
        });
    if (found == named->end())
        return std::nullopt;
    ReplyAddress address = found->address;
    m_ages.erase(found->age);
    named->erase(found);
    if (named->empty())
        m_byName.erase(named);
    return address;
}

void PendingReplies::forgetOldest()
{
    const auto oldest = m_ages.begin();
    const auto named = m_byName.find(oldest->second);
    named->pop_front(); // within a name they stand by age
    if (named->empty())
        m_byName.erase(named);
    m_ages.erase(oldest);
}

} // namespace host
