#pragma once

#include <QtCore/QtGlobal>

namespace host {

/// Every limit of the embedded exchange, in one place.
struct ExchangeLimits
{
    int keptChunks = 1000;                 ///< chunks kept for replay
    qint64 keptBytes = 16LL * 1024 * 1024; ///< bytes of their event texts
    qint64 followerBacklog =
        8LL * 1024 * 1024;     ///< new bytes waiting for one follower; then cut off
    int heartbeat = 15 * 1000; ///< ms between comment lines
};

} // namespace host
