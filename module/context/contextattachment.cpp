#include "context/contextattachment.h"

#include "fhir/coding.h"

#include <QtCore/QJsonArray>
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

QString attachmentFileName(const QJsonValue &entry)
{
    const QJsonObject content = entry.toObject().value(QLatin1String("content")).toObject();
    const QJsonObject attachment = content.value(QLatin1String("attachment")).toObject();
    const QString url = attachment.value(QLatin1String("url")).toString();
    return QUrl::fromUserInput(url).fileName(QUrl::FullyDecoded);
}
