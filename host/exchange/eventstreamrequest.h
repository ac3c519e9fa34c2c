#pragma once

#include "exchange/chunkevent.h"

#include <QtCore/QString>

class QUrl;

namespace host {

/// What a follower asks for.
struct EventStreamRequest
{
    std::optional<qint64> after;   ///< the last id it has; absent: it starts with the next chunk
    std::optional<Direction> only; ///< absent: both directions

    bool wants(Direction direction) const { return !only || *only == direction; }
};

/// Reads `?only=` and `?from=` of `url` and the value of Last-Event-ID, which counts before `from`.
/// Empty, with a line for the caller in `error`, when one of them makes no sense.
std::optional<EventStreamRequest>
readEventStreamRequest(const QUrl &url, const QString &lastEventId, QString *error);

} // namespace host
