#include "chunk/removeattachmentsbehaviour.h"

#include "chunk/chunkenvelope.h"
#include "context/contextservice.h"

#include <QtCore/QJsonArray>
#include <QtCore/QStringList>

RemoveAttachmentsBehaviour::RemoveAttachmentsBehaviour(ContextService *contexts)
    : m_contexts(contexts)
{
}

const QString &RemoveAttachmentsBehaviour::exchange() const
{
    static const QString name = QStringLiteral("kavo-context-attachments-remove");
    return name;
}

void RemoveAttachmentsBehaviour::accept(const ChunkEnvelope &chunk)
{
    const QJsonObject body = chunk.body();
    const QString contextId = body.value(QLatin1String("context")).toString();
    const QJsonArray attachments = body.value(QLatin1String("attachments")).toArray();
    QStringList names;
    for (const QJsonValue &attachment : attachments)
        names.append(attachment.toString());
    m_contexts->removeFiles(contextId, names);
}
