#include "system/applicationpaths.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QLoggingCategory>
#include <QtCore/QSettings>

#include <stdexcept>

Q_LOGGING_CATEGORY(applicationPathsLog, "ch.brenlo.system.applicationpaths")

namespace {

struct Location
{
    QString key;
    QString folder;
};

Location locationOf(ApplicationPathLocation location)
{
    switch (location) {
    case ApplicationPathLocation::Configuration:
        return {QStringLiteral("ch.brenlo.system/path.configuration"),
                QStringLiteral("configuration")};
    case ApplicationPathLocation::Logging:
        return {QStringLiteral("ch.brenlo.system/path.logging"), QStringLiteral("logging")};
    case ApplicationPathLocation::Runtime:
        return {QStringLiteral("ch.brenlo.system/path.runtime"), QStringLiteral("runtime")};
    case ApplicationPathLocation::Update:
        return {QStringLiteral("ch.brenlo.system/path.update"), QStringLiteral("update")};
    }
    throw std::runtime_error(
        "Invalid location has been given while requesting an application's path.");
}

QString profileFolder(ApplicationPathScope scope)
{
    switch (scope) {
    case ApplicationPathScope::User:
        return qEnvironmentVariable("APPDATA");
    case ApplicationPathScope::System:
        return qEnvironmentVariable("ALLUSERSPROFILE");
    }
    throw std::runtime_error(
        "Invalid scope has been given while requesting an application's path.");
}

QString configuredPath(const QString &key)
{
    const QSettings file(QCoreApplication::applicationName() + QLatin1String(".ini"),
                         QSettings::IniFormat);
    const QVariant value = file.value(key);
    return value.isNull() ? QString() : value.toString();
}

} // namespace

QDir applicationPath(ApplicationPathScope scope, ApplicationPathLocation location)
{
    const Location wanted = locationOf(location);
    const QString configured = configuredPath(wanted.key);
    if (!configured.isEmpty()) {
        const QDir directory(configured);
        if (!directory.exists())
            qCWarning(applicationPathsLog) << "Configured path for location does not exist.";
        return directory;
    }
    const QChar separator = QDir::separator();
    return QDir(profileFolder(scope) + separator + QCoreApplication::organizationName() +
                separator + QCoreApplication::applicationName() + separator + wanted.folder);
}
