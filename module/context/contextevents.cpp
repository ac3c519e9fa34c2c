#include "context/contextevents.h"

#include <QtCore/QJsonValue>

namespace {

// Each chunk is a copy of a form with its places filled in: to fill a place takes a fraction of the
// time that a new member takes. A place is empty (null), since an object keeps replaced texts.

const QLatin1String dataKey("data");

QJsonObject idForm(QLatin1String exchange)
{
    return {{QStringLiteral("exchange"), exchange}, {dataKey, QJsonValue()}};
}

QJsonObject idChunk(const QJsonObject &form, const QString &id)
{
    QJsonObject chunk = form;
    chunk.insert(dataKey, QJsonObject{{QStringLiteral("contextId"), id}});
    return chunk;
}

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
    static const QJsonObject form = idForm(QLatin1String("context-created"));
    return idChunk(form, id);
}

QJsonObject contextRemovedChunk(const QString &id)
{
    static const QJsonObject form = idForm(QLatin1String("context-removed"));
    return idChunk(form, id);
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
