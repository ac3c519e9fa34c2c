#pragma once

#include <QtCore/QString>
#include <QtCore/QStringList>

#include <memory>

class KavoServicePlugin;

namespace host {

/// The interface id that a plug-in's metadata must carry.
QString pluginInterfaceId();

/// A plug-in that was loaded, or the reason why it was not. Owns the instance, not the library:
/// that stays in the process, since nobody can know that nothing of it is in use any more.
struct LoadedPlugin
{
    std::unique_ptr<KavoServicePlugin> plugin; ///< null: see `error`
    QString file;                              ///< absolute
    QString interfaceId;                       ///< as its metadata has it
    QString error;                             ///< one line, with the file's name
};

/// Loads `file` and makes its instance; calls none of its operations.
LoadedPlugin loadPlugin(const QString &file);

/// Where the module may lie when no file is named, the likeliest place first: beside the program,
/// then in the library folders of the installation that the program belongs to.
QStringList defaultPluginFiles(const QString &programFolder);

} // namespace host
