#include "chunk/rpcgetfilebehaviour.h"

#include "chunk/documentfilter.h"
#include "context/contextattachment.h"
#include "context/contextservice.h"
#include "fhir/documentreference.h"

#include <QtCore/QDebug>
#include <QtCore/QHash>
#include <QtCore/QJsonArray>
#include <QtCore/QLoggingCategory>

#include <limits>

Q_LOGGING_CATEGORY(lcRpcGetFile, "ch.brenlo.kavo-service.context.rpcgetfilebehaviour")

namespace {

/// Puts the files' bytes into the attachment entries of one context. Entries that list one file in
/// the same words, however many, share one copy of its bytes.
class FileEmbedder
{
public:
    FileEmbedder(const QString &contextId, const ContextService &contexts)
        : m_contextId(contextId)
        , m_contexts(contexts)
    {
    }

    /// `entry` with the file's bytes as its attachment's "data". Reads "content" as the single
    /// object that this system writes; an entry with the standard's array gets one in its place.
    QJsonObject withData(QJsonObject entry)
    {
        QJsonObject content = entry.value(QLatin1String("content")).toObject();
        const QJsonObject attachment = content.value(QLatin1String("attachment")).toObject();
        Embedded &embedded = m_embedded[attachmentFileName(entry)];
        if (embedded.size < 0 || embedded.attachment != attachment)
            embedded = embed(attachment, attachmentFileName(entry));
        m_size += embedded.size;
        content.insert(QStringLiteral("attachment"), embedded.withData);
        entry.insert(QStringLiteral("content"), content);
        return entry;
    }

    /// Of all "data" so far.
    qint64 size() const { return m_size; }

private:
    struct Embedded
    {
        QJsonObject attachment;
        QJsonObject withData;
        int size = -1;
    };

    Embedded embed(const QJsonObject &attachment, const QString &name) const
    {
        const QByteArray data = m_contexts.fileContent(m_contextId, name).toBase64();
        QJsonObject withData = attachment;
        withData.insert(QStringLiteral("data"), QString::fromLatin1(data));
        return {attachment, withData, data.size()};
    }

    const QString m_contextId;
    const ContextService &m_contexts;
    QHash<QString, Embedded> m_embedded; ///< by file name
    qint64 m_size = 0;
};

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

    // Nobody could print more, and trying takes the memory of the machine.
    constexpr qint64 Largest = std::numeric_limits<int>::max();
    FileEmbedder files(id, contexts());
    QJsonArray found;
    const QJsonArray attachments = context.value(QLatin1String("attachments")).toArray();
    for (const QJsonValue &entry : attachments) {
        domain::DocumentReference document;
        fromJson(document, entry.toObject());
        if (!matches(document, filter))
            continue;
        found.append(files.withData(entry.toObject()));
        if (files.size() > Largest) {
            qCWarning(lcRpcGetFile) << "The files of context" << id << "are too large to answer.";
            return std::nullopt;
        }
    }
    return found;
}
