#pragma once

#include <QtCore/QtGlobal>

namespace host {

/// Every limit of the HTTP server, in one place.
struct ServerLimits
{
    int requestLine = 8 * 1024;       ///< bytes without the line end; beyond: 414
    int headerSection = 16 * 1024;    ///< bytes of all header fields; beyond: 431
    qint64 body = 64LL * 1024 * 1024; ///< bytes of a decoded body; beyond: 413
    int connections = 16384;          ///< open connections; beyond: closed at once
    int headerTimeout = 10 * 1000;    ///< ms for a header section to arrive
    int progressTimeout = 30 * 1000;  ///< ms without progress in a body or in an answer
    int idleTimeout = 75 * 1000;      ///< ms for an idle kept-alive connection
    int pipelined = 64 * 1024;        ///< bytes read ahead while a request is handled
    int lingerTimeout = 2 * 1000;     ///< ms to let a refused client read its answer
};

} // namespace host
