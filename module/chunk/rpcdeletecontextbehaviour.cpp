#include "chunk/rpcdeletecontextbehaviour.h"

#include "context/contextservice.h"

const QString &RpcDeleteContextBehaviour::exchange() const
{
    static const QString name = QStringLiteral("kavo-context-rpc-delete");
    return name;
}

std::optional<QJsonValue> RpcDeleteContextBehaviour::perform(const QJsonObject &body)
{
    const QString id = body.value(QLatin1String("context")).toString();
    contexts().removeContext(id);
    return QJsonObject{{QStringLiteral("context"), id}};
}
