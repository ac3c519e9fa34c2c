#include "system/systemsettingsfiles.h"

#include <QtCore/QSettings>

#ifdef Q_OS_UNIX
#include <QtCore/QDir>
#include <QtCore/QStandardPaths>
#endif

QStringList systemSettingsFiles(const QString &organisation, const QString &application)
{
    const QSettings settings(QSettings::IniFormat, QSettings::SystemScope, organisation,
                             application);
    const QString first = settings.fileName();
    QStringList files{first};
#ifdef Q_OS_UNIX
    // The user's folder comes first, then those of the system.
    QStringList folders =
        QStandardPaths::standardLocations(QStandardPaths::GenericConfigLocation).mid(1);
    for (QString &folder : folders)
        folder = QDir::cleanPath(QDir(folder).absolutePath());
    // Elsewhere lies a file that the host has named by QSettings::setPath: it is the only one.
    if (folders.isEmpty() || !first.startsWith(folders.constFirst() + QLatin1Char('/')))
        return files;
    const QString name = first.mid(folders.constFirst().size());
    for (const QString &folder : folders.mid(1))
        files.append(folder + name);
#endif
    return files;
}
