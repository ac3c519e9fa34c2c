#include "chunk/rpccreatecontextbehaviour.h"

#include "context/contextservice.h"

const QString &RpcCreateContextBehaviour::exchange() const
{
    static const QString name = QStringLiteral("kavo-context-rpc-create");
    return name;
}

std::optional<QJsonValue> RpcCreateContextBehaviour::perform(const QJsonObject &body)
{
    const QString id = contexts().createContext();
    QJsonObject context = body;
    context.insert(QStringLiteral("_id"), id);
    contexts().setContext(id, context);
    return context;
}
