#pragma once

#include <QtCore/QStringList>

/// The INI files that hold the system-wide settings of an application, in the order in which they
/// count: what an earlier one says hides what a later one says. They need not exist. The files of
/// the organisation are none of them.
///
/// Usually one; on a desktop of the X family one under each folder of "XDG_CONFIG_DIRS", because
/// desktops put folders of their own in front of the one that the administrator uses.
QStringList systemSettingsFiles(const QString &organisation, const QString &application);
