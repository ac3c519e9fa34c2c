#pragma once

#include "http/socket.h"

#include <functional>
#include <memory>

namespace host {

/// What a socket became ready for.
struct Readiness
{
    bool readable = false;
    bool writable = false;
    bool peerClosed = false; ///< the peer ended its side; what it sent before can still be read
    bool broken = false;     ///< the connection is gone
};

/// Told about one socket's readiness.
class ReadinessSink
{
public:
    virtual void onReady(const Readiness &ready) = 0;

protected:
    ReadinessSink() = default;
    ReadinessSink(const ReadinessSink &) = default;
    ReadinessSink &operator=(const ReadinessSink &) = default;
    ~ReadinessSink() = default;
};

/// Watches sockets from the Qt event loop of the thread that made it.
///
/// Readiness may be told once per change (edge) or as long as it lasts (level): a sink reads and
/// writes until the socket would block, and says when it stops wanting either. A sink must outlive
/// the batch in which it is removed, since the batch may still hold news for it; `afterBatch` is
/// when it may go.
class Reactor
{
public:
    Reactor() = default;
    Reactor(const Reactor &) = delete;
    Reactor &operator=(const Reactor &) = delete;
    virtual ~Reactor() = default;

    virtual bool add(SocketHandle handle, ReadinessSink *sink) = 0;
    virtual void remove(SocketHandle handle) = 0;

    /// Whether the sink still reads what arrives, and whether it has something left to write. A
    /// reactor that tells changes only has no use for either.
    virtual void setInterest(SocketHandle handle, bool reading, bool writing) = 0;

    /// Whether further sinks of the present batch are still to be told. A reactor that tells one at
    /// a time has no batches.
    virtual bool isInBatch() const { return false; }

    /// One epoll set on Linux; one QSocketNotifier for each socket elsewhere.
    static std::unique_ptr<Reactor> create(std::function<void()> afterBatch);

    /// The portable one, whatever the system.
    static std::unique_ptr<Reactor> createPortable(std::function<void()> afterBatch);
};

} // namespace host
