#include "fhir/coding.h"

namespace domain {

namespace {

void insertUnlessEmpty(QJsonObject &json, const QString &key, const QString &value)
{
    if (!value.isEmpty())
        json.insert(key, value);
}

} // namespace

QJsonObject Coding::toJson() const
{
    QJsonObject json;
    insertUnlessEmpty(json, QStringLiteral("system"), system);
    insertUnlessEmpty(json, QStringLiteral("version"), version);
    insertUnlessEmpty(json, QStringLiteral("code"), code);
    insertUnlessEmpty(json, QStringLiteral("display"), display);
    if (userSelected)
        json.insert(QStringLiteral("userSelected"), true);
    return json;
}

void fromJson(Coding &coding, const QJsonObject &json)
{
    coding.system = json.value(QLatin1String("system")).toString();
    coding.version = json.value(QLatin1String("version")).toString();
    coding.code = json.value(QLatin1String("code")).toString();
    coding.display = json.value(QLatin1String("display")).toString();
    coding.userSelected = json.value(QLatin1String("userSelected")).toBool();
}

} // namespace domain
