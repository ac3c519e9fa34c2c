#pragma once

#include <QtCore/QMap>
#include <QtCore/QString>
#include <QtCore/QVariant>

class QSettings;

/// The module's configuration: the keys of up to five sources of INI files in one table, later ones
/// overriding earlier ones. Read when it is built and never again: readers build one when they need
/// a value and drop it. A value; no owner, any thread.
class Settings
{
public:
    /// Which sources are read. The order in which they are read is that of this list, not that of
    /// the numbers, which are part of the interface. The file that the environment variable
    /// "BR_SETTINGS_INI_FILE" names (its name must end with ".ini", in small letters) is read last,
    /// whatever the mask.
    enum Source : quint32 {
        ExecutableDirectory = 1,    ///< "<application>.ini" beside the program
        SystemScope = 4,            ///< the application's system-wide INI settings
        ConfigurationDirectory = 2, ///< "<application>.ini" in the system's configuration directory
        UserScope = 8,              ///< the user's INI settings
        AllSources = 15
    };

    /// Missing files add nothing.
    Settings(const QString &organisation, const QString &application, quint32 mask = AllSources);

    /// Keys have the form "group/name". An absent key gives an invalid value.
    QVariant value(const QString &key) const { return m_values.value(key); }

private:
    void addKeys(QSettings &source);
    void addFile(const QString &path);

    QMap<QString, QVariant> m_values;
};
