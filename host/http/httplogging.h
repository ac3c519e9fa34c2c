#pragma once

#include <QtCore/QLoggingCategory>

namespace host {

Q_DECLARE_LOGGING_CATEGORY(httpLog)

} // namespace host
