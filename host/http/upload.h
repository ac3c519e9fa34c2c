#pragma once

#include "http/requesthead.h"
#include "http/requestparser.h"

#include <QtCore/QByteArray>

#include <memory>

namespace host {

/// A request whose body is arriving.
struct Upload
{
    RequestHead head;
    QByteArray body;
    qint64 received = 0;
    std::unique_ptr<RequestParser> parser; ///< decodes a chunked body
};

} // namespace host
