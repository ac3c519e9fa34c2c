#pragma once

#include <QtCore/QLoggingCategory>

namespace host {

Q_DECLARE_LOGGING_CATEGORY(lcApp)

/// Sends every log line to standard error, in the form that QT_MESSAGE_PATTERN gives, and turns
/// debug messages off: the module's print whole contexts and credentials. The environment has the
/// last word (QT_LOGGING_RULES, or a file that QT_LOGGING_CONF names) and can turn them on.
void setUpLogging();

} // namespace host
