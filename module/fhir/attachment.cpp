#include "fhir/attachment.h"

#include "fhir/jsonread.h"

namespace domain {

namespace {

void readIfPresent(QString &field, const QJsonObject &json, QLatin1String key)
{
    const QJsonValue value = json.value(key);
    if (!value.isUndefined())
        field = value.toString();
}

void readIfPresent(QByteArray &field, const QJsonObject &json, QLatin1String key)
{
    const QJsonValue value = json.value(key);
    if (!value.isUndefined())
        field = value.toString().toLatin1();
}

} // namespace

void fromJson(Attachment &attachment, const QJsonObject &json)
{
    readIfPresent(attachment.contentType, json, QLatin1String("contentType"));
    readIfPresent(attachment.language, json, QLatin1String("language"));
    readIfPresent(attachment.data, json, QLatin1String("data"));
    readIfPresent(attachment.url, json, QLatin1String("url"));
    if (json.contains(QLatin1String("size")))
        attachment.size = json.value(QLatin1String("size")).toInt();
    readIfPresent(attachment.hash, json, QLatin1String("hash"));
    readIfPresent(attachment.title, json, QLatin1String("title"));
    if (json.contains(QLatin1String("creation")))
        attachment.creation = readDateTime(json, QLatin1String("creation"));
}

} // namespace domain
