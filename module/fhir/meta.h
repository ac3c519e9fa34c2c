#pragma once

#include "fhir/coding.h"

#include <QtCore/QDateTime>
#include <QtCore/QJsonObject>
#include <QtCore/QString>
#include <QtCore/QVector>

namespace domain {

/// FHIR STU3 `Meta`: metadata of a resource. Departs from the standard: it holds one profile, where
/// the standard has a list.
struct Meta
{
    QString versionId;
    QDateTime lastUpdated;
    QString profile;
    QVector<Coding> security;
    QVector<Coding> tag;
};

/// Replaces version, time and profile (an array of profiles reads as empty) and adds the labels of
/// "security" and "tag" to those held already. A label that is no object becomes an empty coding,
/// so that labels keep their places.
void fromJson(Meta &meta, const QJsonObject &json);

} // namespace domain
