#include "system/settings.h"

#include "system/applicationpaths.h"
#include "system/systemsettingsfiles.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QSettings>

Settings::Settings(const QString &organisation, const QString &application, quint32 mask)
{
    const QString fileName = application + QLatin1String(".ini");
    if (mask & ExecutableDirectory)
        addFile(QDir(QCoreApplication::applicationDirPath()).filePath(fileName));
    if (mask & SystemScope) {
        QStringList files = systemSettingsFiles(organisation, application);
        while (!files.isEmpty())
            addFile(files.takeLast());
    }
    if (mask & ConfigurationDirectory) {
        addFile(
            applicationPath(ApplicationPathScope::System, ApplicationPathLocation::Configuration)
                .filePath(fileName));
    }
    if (mask & UserScope) {
        QSettings user(QSettings::IniFormat, QSettings::UserScope, organisation, application);
        addKeys(user);
    }
    const QString named = qEnvironmentVariable("BR_SETTINGS_INI_FILE");
    if (named.endsWith(QLatin1String(".ini")))
        addFile(named);
}

void Settings::addKeys(QSettings &source)
{
    // Without this the user's settings would hold the system's too, and bring them back over the
    // configuration directory's.
    source.setFallbacksEnabled(false);
    const QStringList keys = source.allKeys();
    for (const QString &key : keys)
        m_values.insert(key, source.value(key));
}

void Settings::addFile(const QString &path)
{
    QSettings file(path, QSettings::IniFormat);
    addKeys(file);
}
