#pragma once

#include "http/accesspolicy.h"
#include "http/limits.h"

#include <QtCore/QString>
#include <QtCore/QVector>

#include <memory>

namespace http {
class ControllerStrategy;
}

namespace host {

/// An address to listen on: a literal IPv4 or IPv6 address (without brackets) and a port, 0 for a
/// free one.
struct Endpoint
{
    QString address;
    quint16 port = 0;

    /// "127.0.0.1:8480", "[::1]:8480"
    QString toString() const;
};

/// What /health tells of the server.
struct ServerCounts
{
    int connections = 0;      ///< open connections
    int waitingExchanges = 0; ///< requests whose controller has not answered yet, streams included
    int controllers = 0;      ///< controllers alive
};

/// HTTP/1.1 for the strategies it is given, on the thread that runs the Qt event loop: one reactor,
/// no thread of its own, no lock. Destroying the server destroys every controller that is left, so
/// it goes before the plug-in.
class HttpServer
{
public:
    /// With fewer connections than `limits` asks for where the system's limit of open files is
    /// lower.
    HttpServer(ServerLimits limits, AccessPolicy policy);
    ~HttpServer();
    HttpServer(const HttpServer &) = delete;
    HttpServer &operator=(const HttpServer &) = delete;

    /// Asked in order for every request; not owned.
    void setStrategies(const QVector<http::ControllerStrategy *> &strategies);

    /// Starts to listen. False with a reason in `error`, without the address, when it cannot.
    bool listen(const Endpoint &endpoint, QString *error);

    /// Where it listens, in the order of `listen`, with the port that was picked.
    QVector<Endpoint> endpoints() const;

    ServerCounts counts() const;

    /// Takes no further connections and requests, and closes the listening sockets.
    void stopAccepting();

    /// Answers every waiting request 503 with Retry-After: 1, ends every stream, destroys the
    /// controllers and closes the connections, giving the answers a moment to leave.
    void shutDown();

private:
    class Private;
    std::unique_ptr<Private> d;
};

} // namespace host
