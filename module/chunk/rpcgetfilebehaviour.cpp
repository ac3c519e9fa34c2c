#include "chunk/rpcgetfilebehaviour.h"

#include "chunk/documentfilter.h"
#include "context/contextattachment.h"
#include "context/contextservice.h"
#include "fhir/documentreference.h"

#include <QtCore/QJsonArray>

namespace {

/// `entry` with the file's bytes as its attachment's "data". Reads "content" as the single object
/// that this system writes; an entry with the standard's array gets one in its place.
QJsonObject withData(QJsonObject entry, const QString &contextId, const ContextService &contexts)
{
    QJsonObject content = entry.value(QLatin1String("content")).toObject();
    QJsonObject attachment = content.value(QLatin1String("attachment")).toObject();
    const QString name = attachmentFileName(entry);
    const QByteArray data = contexts.fileContent(contextId, name).toBase64();
    attachment.insert(QStringLiteral("data"), QString::fromLatin1(data));
    content.insert(QStringLiteral("attachment"), attachment);
    entry.insert(QStringLiteral("content"), content);
    return entry;
}

} // namespace

const QString &RpcGetFileBehaviour::exchange() const
{
    static const QString name = QStringLiteral("kavo-context-rpc-get-files");
    return name;
}

std::optional<QJsonValue> RpcGetFileBehaviour::perform(const QJsonObject &body)
{
    if (!canReply())
        return std::nullopt;

    const QString id = body.value(QLatin1String("context")).toString();
    const QJsonObject context = contexts().context(id).toObject();
    domain::DocumentReference filter;
    const QJsonValue reference = body.value(QLatin1String("reference"));
    if (reference.isObject())
        fromJson(filter, reference.toObject());

    QJsonArray found;
    const QJsonArray attachments = context.value(QLatin1String("attachments")).toArray();
    for (const QJsonValue &entry : attachments) {
        domain::DocumentReference document;
        fromJson(document, entry.toObject());
        if (matches(document, filter))
            found.append(withData(entry.toObject(), id, contexts()));
    }
    return found;
}
