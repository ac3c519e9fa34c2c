#pragma once

#include <QtCore/QJsonObject>
#include <QtCore/QString>

namespace domain {

/// FHIR STU3 `Coding`: a code defined by a terminology system.
struct Coding
{
    QString system;
    QString version;
    QString code;
    QString display;
    bool userSelected = false;

    /// Members that are empty, and a false "userSelected", are left out.
    QJsonObject toJson() const;
};

/// Fills `coding` from the FHIR JSON of a Coding; a missing or mistyped member reads as empty.
void fromJson(Coding &coding, const QJsonObject &json);

} // namespace domain
