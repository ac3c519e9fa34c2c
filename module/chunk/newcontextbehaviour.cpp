#include "chunk/newcontextbehaviour.h"

#include "context/contextservice.h"

#include <QtCore/QDebug>
#include <QtCore/QJsonObject>
#include <QtCore/QLoggingCategory>

#include <optional>

Q_LOGGING_CATEGORY(lcNewContext, "ch.brenlo.kavo-service.context.newcontextbehaviour")

namespace {

/// The context of a "new-context" event; nothing for any other chunk.
std::optional<QJsonObject> announcedContext(const QJsonValue &chunk)
{
    const QJsonObject event = chunk.toObject().value(QLatin1String("data")).toObject();
    const QJsonValue context = event.value(QLatin1String("data"));
    const QString kind = event.value(QLatin1String("event")).toString();
    if (kind != QLatin1String("new-context") || !context.isObject())
        return std::nullopt;
    return context.toObject();
}

} // namespace

NewContextBehaviour::NewContextBehaviour(ContextService *contexts)
    : m_contexts(contexts)
{
}

void NewContextBehaviour::handle(const QJsonValue &chunk)
{
    std::optional<QJsonObject> context = announcedContext(chunk);
    if (!context)
        return;
    qCDebug(lcNewContext) << "Received new context chunk: " << chunk;
    const QString id = m_contexts->createContext();
    context->insert(QStringLiteral("_id"), id);
    m_contexts->setContext(id, *context);
}
