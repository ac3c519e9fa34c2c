#include "exchange/eventstreamrequest.h"

#include <QtCore/QUrl>
#include <QtCore/QUrlQuery>

#include <algorithm>

namespace host {
namespace {

constexpr int longestId = 18; // decimal digits that always fit into 64 bits

std::optional<qint64> readId(const QString &text)
{
    const bool digits = std::all_of(text.begin(), text.end(), [](QChar c) {
        return c >= QLatin1Char('0') && c <= QLatin1Char('9');
    });
    if (text.isEmpty() || text.size() > longestId || !digits)
        return std::nullopt;
    return text.toLongLong();
}

// The one value of a query item; null when the item is absent, an error when it is there twice.
QString onlyValue(const QUrlQuery &query, const QString &name, QString *error)
{
    const QStringList values = query.allQueryItemValues(name, QUrl::FullyDecoded);
    if (values.isEmpty())
        return QString();
    if (values.size() > 1)
        *error = QStringLiteral("\"%1\" is given more than once").arg(name);
    return values.first().isNull() ? QStringLiteral("") : values.first();
}

} // namespace

std::optional<EventStreamRequest> readEventStreamRequest(const QUrl &url,
                                                         const QString &lastEventId, QString *error)
{
    EventStreamRequest request;
    QString fault;
    const QUrlQuery query(url);
    const QString only = onlyValue(query, QStringLiteral("only"), &fault);
    const QString from = onlyValue(query, QStringLiteral("from"), &fault);

    if (only == QLatin1String("published"))
        request.only = Direction::Published;
    else if (only == QLatin1String("delivered"))
        request.only = Direction::Delivered;
    else if (!only.isNull())
        fault = QStringLiteral("\"only\" takes published or delivered");

    if (!from.isNull()) {
        request.after = readId(from);
        if (!request.after)
            fault = QStringLiteral("\"from\" takes the id of an event, a whole number");
    }
    if (!lastEventId.isEmpty()) {
        request.after = readId(lastEventId);
        if (!request.after)
            fault = QStringLiteral("Last-Event-ID takes the id of an event, a whole number");
    }
    if (fault.isEmpty())
        return request;
    *error = fault;
    return std::nullopt;
}

} // namespace host
