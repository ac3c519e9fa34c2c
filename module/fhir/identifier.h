#pragma once

#include "fhir/codeableconcept.h"
#include "fhir/period.h"

#include <QtCore/QJsonObject>
#include <QtCore/QString>

namespace domain {

/// FHIR STU3 `Identifier`: a business identifier of a resource. Departs from the standard:
/// "assigner" is not modelled.
struct Identifier
{
    QString use;
    CodeableConcept type;
    QString system;
    QString value;
    Period period;
};

/// Type and period are replaced in any case, a text only by a text that is not empty.
void fromJson(Identifier &identifier, const QJsonObject &json);

} // namespace domain
