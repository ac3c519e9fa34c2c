#include "context/contextevents.h"

namespace {

QJsonObject idChunk(QLatin1String exchange, const QString &id)
{
    return {{QStringLiteral("exchange"), exchange},
            {QStringLiteral("data"), QJsonObject{{QStringLiteral("contextId"), id}}}};
}

} // namespace

QJsonObject contextCreatedChunk(const QString &id)
{
    return idChunk(QLatin1String("context-created"), id);
}

QJsonObject contextRemovedChunk(const QString &id)
{
    return idChunk(QLatin1String("context-removed"), id);
}

QJsonObject contextChangedChunk(const QString &id, const QJsonObject &changes,
                                const QJsonValue &context)
{
    const QJsonObject event{{QStringLiteral("event"), QStringLiteral("context-changed")},
                            {QStringLiteral("id"), id},
                            {QStringLiteral("data"), changes},
                            {QStringLiteral("context"), context}};
    return {{QStringLiteral("source"), QStringLiteral("z9-plugin-context")},
            {QStringLiteral("version"), QStringLiteral("1.1.2")},
            {QStringLiteral("data"), event}};
}
