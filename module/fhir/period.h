#pragma once

#include <QtCore/QDateTime>
#include <QtCore/QJsonObject>

namespace domain {

/// FHIR STU3 `Period`: a time range. An end that is null is open or unknown.
struct Period
{
    QDateTime start;
    QDateTime end;
};

/// A "start" or "end" that is missing or no ISO date and time leaves the field as it was.
void fromJson(Period &period, const QJsonObject &json);

} // namespace domain
