#include "fhir/period.h"

#include "fhir/jsonread.h"

namespace domain {

namespace {

void readUnlessNull(QDateTime &field, const QJsonObject &json, QLatin1String key)
{
    const QDateTime moment = readDateTime(json, key);
    if (!moment.isNull())
        field = moment;
}

} // namespace

void fromJson(Period &period, const QJsonObject &json)
{
    readUnlessNull(period.start, json, QLatin1String("start"));
    readUnlessNull(period.end, json, QLatin1String("end"));
}

} // namespace domain
