#include "context/contextattachment.h"
#include "context/contextlog.h"
#include "context/contextservice.h"
#include "context/fileservice.h"
#include "fhir/coding.h"

#include <QtCore/QDebug>
#include <QtCore/QJsonArray>
#include <QtCore/QJsonObject>
#include <QtCore/QStringList>

namespace {

/// A list of attachments with the file name of each, which takes long to find out.
class NamedAttachments
{
public:
    const QJsonArray &entries() const { return m_entries; }

    /// Mostly these are the entries still; whoever heard of a change may have made others of them.
    void follow(const QJsonArray &entries)
    {
        if (entries == m_entries)
            return;
        m_entries = entries;
        m_names.clear();
        for (const QJsonValue &entry : entries)
            m_names.append(attachmentFileName(entry));
    }

    /// All entries of that name. False when there was none.
    bool remove(const QString &name)
    {
        const int before = m_entries.size();
        for (int i = m_names.lastIndexOf(name); i >= 0; i = m_names.lastIndexOf(name)) {
            m_entries.removeAt(i);
            m_names.removeAt(i);
        }
        return m_entries.size() < before;
    }

private:
    QJsonArray m_entries;
    QStringList m_names;
};

} // namespace

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
    if (!stored.toObject().contains(QLatin1String("_id")) || !appendAttachment(stored, entry))
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
    removeFiles(id, {name});
}

void ContextService::removeFiles(const QString &id, const QStringList &names)
{
    NamedAttachments attachments;
    for (const QString &name : names) {
        markUsed(id);
        const QJsonObject context = m_contexts.value(id).toObject();
        attachments.follow(context.value(QLatin1String("attachments")).toArray());
        if (attachments.remove(name))
            m_files->remove(FileService::fileKey(id, name));
        updateContext(id, QJsonObject{{QStringLiteral("attachments"), attachments.entries()}});
    }
}

QByteArray ContextService::fileContent(const QString &id, const QString &name) const
{
    const QString key = FileService::fileKey(id, name);
    return m_files->contains(key) ? m_files->value(key) : QByteArray();
}
