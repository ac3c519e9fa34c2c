#include "fhir/codeableconcept.h"

#include "fhir/jsonread.h"

namespace domain {

void fromJson(CodeableConcept &target, const QJsonObject &json)
{
    Coding coding;
    fromJson(coding, json.value(QLatin1String("coding")).toObject());
    target.coding = coding;
    readUnlessEmpty(target.text, json, QLatin1String("text"));
}

} // namespace domain
