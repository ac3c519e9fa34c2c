#pragma once

#include "broker/brokermessage.h"

#include <QtCore/QHash>
#include <QtCore/QString>

#include <deque>
#include <map>
#include <optional>

namespace host {

/// The requests from the broker that ask for a reply and have none yet. A published chunk is the
/// reply to one of them when its "exchange" is the queue that the request named and its correlation
/// id is the request's; of equal ones the oldest request counts. Requests that the module never
/// answers are forgotten, the oldest first, beyond `most`. Owned by the broker's exchange.
class PendingReplies
{
public:
    explicit PendingReplies(int most = 10000);

    /// `chunk` is the request as the module gets it.
    void expect(const QJsonObject &chunk, const ReplyAddress &address);

    /// Where a published chunk goes when it is a reply; that request counts as answered then.
    std::optional<ReplyAddress> take(const QJsonObject &chunk);

    int count() const { return int(m_ages.size()); }

private:
    struct Pending
    {
        qint64 age;
        QJsonValue correlation;
        ReplyAddress address;
    };

    void forgetOldest();

    int m_most;
    qint64 m_nextAge = 0;
    QHash<QString, std::deque<Pending>> m_byName;
    std::map<qint64, QString> m_ages;
};

} // namespace host
