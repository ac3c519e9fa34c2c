#include "context/contextlog.h"

#include <QtCore/QDebug>
#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>

Q_LOGGING_CATEGORY(contextServiceLog, "ch.brenlo.kavo-service.context.contextservice")

void logNewValue(const QString &id, const QJsonValue &value)
{
    if (value.isObject()) {
        qCDebug(contextServiceLog)
            << "Setting context" << id << "to object" << QJsonDocument(value.toObject()).toJson();
    } else if (value.isArray()) {
        qCDebug(contextServiceLog)
            << "Setting context" << id << "to array" << QJsonDocument(value.toArray()).toJson();
    } else {
        qCDebug(contextServiceLog) << "Setting context" << id << "to unknown" << value;
    }
}

void logKeys(const QJsonObject &context)
{
    qCDebug(contextServiceLog) << "Context changed. Current keys:" << context.keys();
}
