#include "chunk/rpcupdatecontextbehaviour.h"

#include "context/contextservice.h"

#include <QtCore/QDebug>
#include <QtCore/QLoggingCategory>

Q_LOGGING_CATEGORY(lcRpcUpdateContext, "ch.brenlo.kavo-service.context.rpcupdatecontextbehaviour")

const QString &RpcUpdateContextBehaviour::exchange() const
{
    static const QString name = QStringLiteral("kavo-context-rpc-update");
    return name;
}

std::optional<QJsonValue> RpcUpdateContextBehaviour::perform(const QJsonObject &body)
{
    const QString id = body.value(QLatin1String("_id")).toString();
    if (id.isEmpty()) {
        qCWarning(lcRpcUpdateContext) << "Update context with empty _id ignored.";
        qCDebug(lcRpcUpdateContext) << body;
        return std::nullopt;
    }
    const bool everyContext = id == QLatin1String("*");
    const QStringList targets = everyContext ? contexts().contextIds() : QStringList{id};
    QJsonObject changes = body;
    changes.remove(QStringLiteral("_id"));
    for (const QString &target : targets)
        contexts().updateContext(target, changes);
    return changes;
}
