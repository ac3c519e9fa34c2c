#include "context/contextattachment.h"
#include "context/contextchange.h"
#include "context/contextlog.h"
#include "context/contextservice.h"
#include "context/fileservice.h"
#include "fhir/coding.h"

#include <QtCore/QDebug>
#include <QtCore/QJsonArray>
#include <QtCore/QJsonObject>

void ContextService::addFile(const QString &id, const QString &name, const QByteArray &bytes,
                             const domain::Coding &coding)
{
    const QString key = FileService::fileKey(id, name);
    if (m_files->contains(key)) {
        qCDebug(contextServiceLog) << "File already exists, overwrite content only.";
        m_files->insert(key, bytes);
        return;
    }
    m_files->insert(key, bytes);
    const QJsonObject entry = attachmentEntry(id, name, coding);
    if (listFile(id, entry))
        return;
    const QJsonObject context = m_contexts[id].toObject();
    QJsonObject update;
    if (!context.contains(QLatin1String("_id")))
        update.insert(QLatin1String("_id"), id);
    QJsonArray attachments = context.value(QLatin1String("attachments")).toArray();
    attachments.append(entry);
    update.insert(QLatin1String("attachments"), attachments);
    updateContext(id, update);
}

bool ContextService::listFile(const QString &id, const QJsonObject &entry)
{
    QJsonValue &stored = m_contexts[id];
    if (!stored.toObject().contains(QLatin1String("_id")))
        return false;
    // What counts as changed without a change: nothing, but for keys whose member is not found.
    const QJsonObject changes = changedMembers(stored.toObject(), stored.toObject());
    if (!changes.isEmpty() || !appendAttachment(stored, entry))
        return false;
    const QJsonValue context = stored; // the reference ends where others hear of the change
    logNewValue(id, context);
    logKeys(context.toObject());
    markUsed(id);
    m_printed.forget(id);
    Q_EMIT contextChanged(id, context);
    return true;
}

void ContextService::removeFile(const QString &id, const QString &name)
{
    markUsed(id);
    const QJsonArray attachments =
        m_contexts.value(id).toObject().value(QLatin1String("attachments")).toArray();
    QJsonArray kept;
    for (const QJsonValue &entry : attachments) {
        if (attachmentFileName(entry) == name)
            m_files->remove(FileService::fileKey(id, name));
        else
            kept.append(entry);
    }
    updateContext(id, QJsonObject{{QStringLiteral("attachments"), kept}});
}

QByteArray ContextService::fileContent(const QString &id, const QString &name) const
{
    const QString key = FileService::fileKey(id, name);
    return m_files->contains(key) ? m_files->value(key) : QByteArray();
}
