#include "fhir/meta.h"

#include "fhir/jsonread.h"

#include <QtCore/QJsonArray>

namespace domain {

namespace {

void appendCodings(QVector<Coding> &codings, const QJsonArray &array)
{
    codings.reserve(codings.size() + array.size());
    for (const QJsonValue &element : array) {
        Coding coding;
        fromJson(coding, element.toObject());
        codings.append(coding);
    }
}

} // namespace

void fromJson(Meta &meta, const QJsonObject &json)
{
    meta.versionId = json.value(QLatin1String("versionId")).toString();
    meta.lastUpdated = readDateTime(json, QLatin1String("lastUpdated"));
    meta.profile = json.value(QLatin1String("profile")).toString();
    appendCodings(meta.security, json.value(QLatin1String("security")).toArray());
    appendCodings(meta.tag, json.value(QLatin1String("tag")).toArray());
}

} // namespace domain
