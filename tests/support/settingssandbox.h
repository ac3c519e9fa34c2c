#pragma once

#include <QtCore/QCoreApplication>
#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QSettings>
#include <QtCore/QString>
#include <QtCore/QTemporaryDir>

namespace support {

/// Keeps the machine's own settings out of a test and gives each source of settings a place in a
/// temporary directory, which is the current directory meanwhile. Names the organisation
/// "Organisation" and the application after this process: tests that run at the same time share the
/// folder of their executables. Lives in a test function; one at a time.
class SettingsSandbox
{
public:
    SettingsSandbox()
        : m_previousDirectory(QDir::currentPath())
    {
        QCoreApplication::setOrganizationName(organisation());
        QCoreApplication::setApplicationName(application());
        QDir::setCurrent(m_directory.path());
        QSettings::setPath(QSettings::IniFormat, QSettings::SystemScope, path("system"));
        QSettings::setPath(QSettings::IniFormat, QSettings::UserScope, path("user"));
        qputenv("ALLUSERSPROFILE", QFile::encodeName(path("all-users")));
        qputenv("APPDATA", QFile::encodeName(path("roaming")));
        qunsetenv("BR_SETTINGS_INI_FILE");
        QFile::remove(executableFile());
    }

    ~SettingsSandbox()
    {
        QFile::remove(executableFile());
        qunsetenv("BR_SETTINGS_INI_FILE");
        qunsetenv("ALLUSERSPROFILE");
        qunsetenv("APPDATA");
        QDir::setCurrent(m_previousDirectory);
    }

    SettingsSandbox(const SettingsSandbox &) = delete;
    SettingsSandbox &operator=(const SettingsSandbox &) = delete;

    static QString organisation() { return QStringLiteral("Organisation"); }
    static QString application()
    {
        return QStringLiteral("sandboxed-application-%1").arg(QCoreApplication::applicationPid());
    }

    QString path(const char *name) const { return m_directory.filePath(QString::fromUtf8(name)); }

    QString executableFile() const
    {
        return QCoreApplication::applicationDirPath() + QLatin1Char('/') + iniName();
    }
    QString systemFile() const { return scopeFile("system"); }
    QString userFile() const { return scopeFile("user"); }
    QString configurationFile() const
    {
        return path("all-users") + QLatin1Char('/') + organisation() + QLatin1Char('/') +
               application() + QLatin1String("/configuration/") + iniName();
    }
    /// What the application-path lookup reads.
    QString currentDirectoryFile() const { return m_directory.filePath(iniName()); }

    /// Writes an INI file and makes "BR_SETTINGS_INI_FILE" name it.
    bool writeNamed(const QByteArray &ini, const char *name = "named.ini") const
    {
        qputenv("BR_SETTINGS_INI_FILE", QFile::encodeName(path(name)));
        return write(path(name), ini);
    }

    /// Writes a file and the folders above it.
    static bool write(const QString &fileName, const QByteArray &text)
    {
        QDir().mkpath(QFileInfo(fileName).path());
        QFile file(fileName);
        return file.open(QIODevice::WriteOnly) && file.write(text) == text.size();
    }

private:
    static QString iniName() { return application() + QLatin1String(".ini"); }
    QString scopeFile(const char *scope) const
    {
        return path(scope) + QLatin1Char('/') + organisation() + QLatin1Char('/') + iniName();
    }

    QTemporaryDir m_directory;
    QString m_previousDirectory;
};

} // namespace support
