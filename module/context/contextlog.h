#pragma once

#include <QtCore/QJsonValue>
#include <QtCore/QLoggingCategory>
#include <QtCore/QString>

class QJsonObject;

Q_DECLARE_LOGGING_CATEGORY(contextServiceLog)

/// The lines that every write of a context leaves in the log, at debug level.
void logNewValue(const QString &id, const QJsonValue &value);
void logKeys(const QJsonObject &context);
