#include "chunk/writefiletocontextbehaviour.h"

#include "chunk/chunkenvelope.h"
#include "context/contextservice.h"
#include "fhir/coding.h"

WriteFileToContextBehaviour::WriteFileToContextBehaviour(ContextService *contexts)
    : m_contexts(contexts)
{
}

const QString &WriteFileToContextBehaviour::exchange() const
{
    static const QString name = QStringLiteral("kavo-context-add-file");
    return name;
}

void WriteFileToContextBehaviour::accept(const ChunkEnvelope &chunk)
{
    const QJsonObject body = chunk.body();
    const QString text = body.value(QLatin1String("content")).toString();
    // Skips what is no base64: senders wrap lines and pad as they like.
    const QByteArray content = QByteArray::fromBase64(text.toLocal8Bit());
    domain::Coding type;
    fromJson(type, body.value(QLatin1String("type")).toObject());
    const QString name = body.value(QLatin1String("filename")).toString();
    const QString contextId = body.value(QLatin1String("context")).toString();
    m_contexts->addFile(contextId, name, content, type);
}
