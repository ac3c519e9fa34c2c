#pragma once

#include <QtCore/QLoggingCategory>

namespace host {

/// The exchange's log lines. They tell of chunks by id and size, never by content.
Q_DECLARE_LOGGING_CATEGORY(lcExchange)

} // namespace host
