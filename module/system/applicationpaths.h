#pragma once

#include <QtCore/QDir>

/// Where the workstation keeps the files of this application: as configured in the file
/// "<application name>.ini" of the process's current directory, or else below the profile folder of
/// the user or of all users.

/// The numbers are part of the interface.
enum class ApplicationPathScope : qint32 { User = 0, System = 1 };

/// The numbers are part of the interface.
enum class ApplicationPathLocation : qint32 {
    Configuration = 0,
    Logging = 1,
    Runtime = 2,
    Update = 3
};

/// The directory is neither created nor required to exist. An unset profile variable ("APPDATA",
/// "ALLUSERSPROFILE") reads as an empty text, so that the path starts at the root. A configured
/// path answers for every scope. Throws `std::runtime_error` for a location, or for the default a
/// scope, that is none of the above.
QDir applicationPath(ApplicationPathScope scope, ApplicationPathLocation location);
