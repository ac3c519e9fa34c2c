#pragma once

#include <QtCore/QByteArray>

namespace host {

/// Why a request is refused: a status, and one line that tells the caller.
struct Refusal
{
    int status = 0; ///< 0: not refused
    QByteArray reason;

    explicit operator bool() const { return status != 0; }
};

} // namespace host
