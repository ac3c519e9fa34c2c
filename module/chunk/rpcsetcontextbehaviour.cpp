#include "chunk/rpcsetcontextbehaviour.h"

#include "context/contextservice.h"

#include <QtCore/QDebug>
#include <QtCore/QLoggingCategory>

Q_LOGGING_CATEGORY(lcRpcSetContext, "ch.brenlo.kavo-service.context.rpcsetcontextbehaviour")

const QString &RpcSetContextBehaviour::exchange() const
{
    static const QString name = QStringLiteral("kavo-context-rpc-set");
    return name;
}

std::optional<QJsonValue> RpcSetContextBehaviour::perform(const QJsonObject &body)
{
    const QString id = body.value(QLatin1String("_id")).toString();
    if (id.isEmpty()) {
        qCWarning(lcRpcSetContext) << "Set context with empty _id ignored.";
        qCDebug(lcRpcSetContext) << body;
        return std::nullopt;
    }
    QJsonObject context = body;
    context.remove(QStringLiteral("_id"));
    contexts().setContext(id, context);
    return context;
}
