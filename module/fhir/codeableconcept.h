#pragma once

#include "fhir/coding.h"

#include <QtCore/QJsonObject>
#include <QtCore/QString>

namespace domain {

/// FHIR STU3 `CodeableConcept`: a concept named by a code, a text or both. Departs from the
/// standard: it holds one coding, where the standard has a list.
struct CodeableConcept
{
    Coding coding;
    QString text;
};

/// Reads "coding" as a single object and replaces the coding in any case. The standard's array
/// reads as an empty coding, which is how the entries that this system writes itself come back.
/// An empty "text" leaves the text as it was.
void fromJson(CodeableConcept &target, const QJsonObject &json);

} // namespace domain
