#include "context/contextevents.h"

#include <QtCore/QJsonValue>

namespace {

const QLatin1String dataKey("data");

QJsonObject idChunk(QLatin1String exchange, const QString &id)
{
    return {{QStringLiteral("exchange"), exchange},
            {dataKey, QJsonObject{{QStringLiteral("contextId"), id}}}};
}

// The chunk of a change, made for every write, is a copy of a form with its places filled in: to
// fill a place takes a fraction of the time that a new member takes. A place is empty (null), since
// an object keeps replaced texts.

QJsonObject changeForm()
{
    return {{QStringLiteral("source"), QStringLiteral("z9-plugin-context")},
            {QStringLiteral("version"), QStringLiteral("1.1.2")},
            {dataKey, QJsonValue()}};
}

QJsonObject changeDataForm()
{
    return {{QStringLiteral("event"), QStringLiteral("context-changed")},
            {QStringLiteral("id"), QJsonValue()},
            {dataKey, QJsonValue()},
            {QStringLiteral("context"), QJsonValue()}};
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
    static const QJsonObject dataForm = changeDataForm();
    static const QJsonObject form = changeForm();
    QJsonObject data = dataForm;
    data.insert(QLatin1String("id"), id);
    data.insert(dataKey, changes);
    data.insert(QLatin1String("context"), context);
    QJsonObject chunk = form;
    chunk.insert(dataKey, data);
    return chunk;
}
