#pragma once

#include <QtCore/QLoggingCategory>

namespace host {

/// The broker's log lines: where it is and what became of messages, never what is in them, and
/// never a password.
Q_DECLARE_LOGGING_CATEGORY(lcBroker)

} // namespace host
