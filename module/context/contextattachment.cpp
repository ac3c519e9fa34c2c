#include "context/contextattachment.h"

#include "fhir/coding.h"

#include <QtCore/QJsonArray>
#include <QtCore/QScopeGuard>
#include <QtCore/QUrl>

QJsonObject attachmentEntry(const QString &contextId, const QString &fileName,
                            const domain::Coding &coding)
{
    const QString url = QStringLiteral("/context/%1/file/%2").arg(contextId, fileName);
    const QJsonObject type{{QStringLiteral("coding"), QJsonArray{coding.toJson()}}};
    const QJsonObject content{
        {QStringLiteral("attachment"), QJsonObject{{QStringLiteral("url"), url}}}};
    return {{QStringLiteral("resourceType"), QStringLiteral("DocumentReference")},
            {QStringLiteral("status"), QStringLiteral("superseded")},
            {QStringLiteral("type"), type},
            {QStringLiteral("content"), content}};
}

bool appendAttachment(QJsonValue &context, const QJsonObject &entry)
{
    const QLatin1String key("attachments");
    QJsonObject object = context.toObject();
    QJsonArray attachments = object.value(key).toArray();
    if (!object.value(key).isArray())
        return false;
    // Let go of both in all the places that hold them, or each append would copy them. The key
    // stays: what is removed from an object leaves its bytes behind.
    context = QJsonValue::Null;
    object.insert(key, QJsonValue::Null);
    const auto putBack = qScopeGuard([&] {
        object.insert(key, attachments);
        context = object;
    });
    attachments.append(entry);
    return true;
}

QString attachmentFileName(const QJsonValue &entry)
{
    const QJsonObject content = entry.toObject().value(QLatin1String("content")).toObject();
    const QJsonObject attachment = content.value(QLatin1String("attachment")).toObject();
    const QString url = attachment.value(QLatin1String("url")).toString();
    return QUrl::fromUserInput(url).fileName(QUrl::FullyDecoded);
}
