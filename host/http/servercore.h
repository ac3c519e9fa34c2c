#pragma once

#include "http/accesspolicy.h"
#include "http/controllerslot.h"
#include "http/deadlines.h"
#include "http/limits.h"
#include "http/reactor.h"

#include <QtCore/QElapsedTimer>
#include <QtCore/QObject>
#include <QtCore/QTimer>
#include <QtCore/QVector>

#include <functional>
#include <memory>
#include <vector>

namespace http {
class ControllerStrategy;
}

namespace host {

class Connection;

/// What the connections of one server share: the reactor, the limits, who serves a request, the
/// deadlines, and the places where connections and controllers wait for their end. Owned by
/// HttpServer.
class ServerCore final : public QObject
{
public:
    ServerCore(const ServerLimits &serverLimits, AccessPolicy accessPolicy);
    ~ServerCore() override;

    const ServerLimits limits;
    AccessPolicy policy;
    QVector<http::ControllerStrategy *> strategies;
    std::unique_ptr<Reactor> reactor;
    DeadlineList headDeadlines;
    DeadlineList progressDeadlines;
    DeadlineList idleDeadlines;
    DeadlineList lingerDeadlines;
    int waitingExchanges = 0;
    int controllers = 0;
    bool stopping = false;

    /// Where bytes are read to: one piece of memory for all connections, since each hands on or
    /// copies what it needs before the next one reads.
    char *scratch() { return m_scratch.data(); }
    std::size_t scratchSize() const { return m_scratch.size(); }

    qint64 now() const { return m_clock.elapsed(); }

    void adopt(Socket socket);
    int connectionCount() const { return int(m_connections.size()); }
    void shutDownConnections();
    void closeAll();

    /// Calls `callback` once no connection is left; an empty one calls nothing.
    void onLastConnectionGone(std::function<void()> callback);

    /// Calls `Connection::resume` from the event loop.
    void schedule(Connection *connection);

    /// Calls `Connection::sendUnsent` after the present batch, or before it is over when enough
    /// answers are there. Programs that wait for several of them are then woken once, which takes
    /// the system longer than the sending.
    void sendWithOthers(Connection *connection);

    /// Before something that may take long.
    void sendUnsent();

    /// Takes over a closed connection until nothing can refer to it any more.
    void bury(Connection *connection);

    /// Lets a controller go; `isIdle` when none of its functions is running.
    void retire(ControllerSlot slot, bool isIdle);

    void sweep();

private:
    void wake();
    void onAwake();
    void checkDeadlines();
    void checkList(DeadlineList &list);

    std::vector<char> m_scratch;
    QElapsedTimer m_clock;
    QTimer m_deadlineTimer;
    std::vector<std::unique_ptr<Connection>> m_connections;
    std::vector<std::unique_ptr<Connection>> m_buried;
    std::vector<std::unique_ptr<http::Controller>> m_retired;
    QTimer m_wakeTimer; ///< a timer, since posted events that post events shut out the sockets
    std::vector<Connection *> m_scheduled;
    std::vector<Connection *> m_unsent; ///< empty between batches
    std::function<void()> m_lastConnectionGone;
};

} // namespace host
