#include "message/timestamp.h"

#include <QtCore/QLoggingCategory>

namespace {

Q_LOGGING_CATEGORY(timestampLog, "ch.brenlo.kavo.kavo-service.api.util.structure.qstring.timestamp")

QString timestampFormat()
{
    return QStringLiteral("yyyy-MM-ddTHH:mm:ss");
}

} // namespace

QString timestampToString(const QDateTime &timestamp)
{
    return timestamp.toString(timestampFormat());
}

bool timestampFromString(const QString &text, QDateTime &timestamp)
{
    timestamp = QDateTime::fromString(text, timestampFormat());
    if (timestamp.isValid())
        return true;
    qCWarning(timestampLog) << "Unexpected invalid date format found in string: " << text;
    return false;
}
