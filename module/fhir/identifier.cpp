#include "fhir/identifier.h"

#include "fhir/jsonread.h"

namespace domain {

void fromJson(Identifier &identifier, const QJsonObject &json)
{
    readUnlessEmpty(identifier.use, json, QLatin1String("use"));

    CodeableConcept type;
    fromJson(type, json.value(QLatin1String("type")).toObject());
    identifier.type = type;

    readUnlessEmpty(identifier.system, json, QLatin1String("system"));
    readUnlessEmpty(identifier.value, json, QLatin1String("value"));

    Period period;
    fromJson(period, json.value(QLatin1String("period")).toObject());
    identifier.period = period;
}

} // namespace domain
