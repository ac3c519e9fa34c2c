#pragma once

#include <QtCore/QDateTime>
#include <QtCore/QJsonObject>
#include <QtCore/QString>

/// What the readers of several FHIR types share. Internal to this folder.
namespace domain {

/// An ISO 8601 date and time; null when the member is absent, no string or no date and time.
inline QDateTime readDateTime(const QJsonObject &json, QLatin1String key)
{
    return QDateTime::fromString(json.value(key).toString(), Qt::ISODate);
}

/// Leaves `field` as it was when the member is absent, no string or empty.
inline void readUnlessEmpty(QString &field, const QJsonObject &json, QLatin1String key)
{
    const QString text = json.value(key).toString();
    if (!text.isEmpty())
        field = text;
}

} // namespace domain
