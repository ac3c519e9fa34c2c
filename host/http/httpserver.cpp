#include "http/httpserver.h"

#include "http/connection.h"
#include "http/httplogging.h"
#include "http/servercore.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QEvent>
#include <QtCore/QEventLoop>
#include <QtCore/QTimer>

#include <utility>
#include <vector>

namespace host {

namespace {

// How long an answer given at shutdown may take to leave.
constexpr int farewellTime = 1000;

constexpr int acceptRetry = 100;

/// Takes connections from one listening socket.
class Listener final : public ReadinessSink
{
public:
    Listener(ServerCore &core, Socket socket, QString address)
        : m_core(core)
        , m_socket(std::move(socket))
        , m_address(std::move(address))
    {
        m_core.reactor->add(m_socket.handle(), this);
        m_retry.setSingleShot(true);
        m_retry.setInterval(acceptRetry);
        QObject::connect(&m_retry, &QTimer::timeout, &m_retry, [this] {
            m_core.reactor->add(m_socket.handle(), this);
            onReady({});
        });
    }

    ~Listener()
    {
        if (!m_retry.isActive())
            m_core.reactor->remove(m_socket.handle());
    }
    Listener(const Listener &) = delete;
    Listener &operator=(const Listener &) = delete;

    Endpoint endpoint() const { return {m_address, m_socket.localPort()}; }

    void onReady(const Readiness &) override
    {
        for (;;) {
            Socket accepted;
            switch (m_socket.accept(&accepted)) {
            case Socket::Accepted::Yes:
                take(std::move(accepted));
                break;
            case Socket::Accepted::NoneWaits:
                return;
            case Socket::Accepted::Failed:
                // The socket stays ready all the while; nobody is told so meanwhile.
                m_core.reactor->remove(m_socket.handle());
                m_retry.start();
                return;
            }
        }
    }

private:
    void take(Socket accepted)
    {
        if (m_core.connectionCount() >= m_core.limits.connections) {
            warnOnce();
            return; // which closes it
        }
        m_core.adopt(std::move(accepted));
        if (m_core.connectionCount() < m_core.limits.connections / 2)
            m_hasWarned = false;
    }

    void warnOnce()
    {
        if (!std::exchange(m_hasWarned, true)) {
            qCWarning(httpLog) << "Too many connections; closing new ones. Open:"
                               << m_core.connectionCount();
        }
    }

    ServerCore &m_core;
    Socket m_socket;
    QString m_address;
    QTimer m_retry; ///< when the system had neither descriptor nor memory for a connection
    bool m_hasWarned = false;
};

} // namespace

class HttpServer::Private
{
public:
    Private(const ServerLimits &limits, AccessPolicy policy)
        : core(limits, std::move(policy))
    {
    }

    ServerCore core;
    std::vector<std::unique_ptr<Listener>> listeners;
};

QString Endpoint::toString() const
{
    const bool isV6 = address.contains(QLatin1Char(':'));
    return (isV6 ? QStringLiteral("[%1]:%2") : QStringLiteral("%1:%2"))
        .arg(address, QString::number(port));
}

HttpServer::HttpServer(ServerLimits limits, AccessPolicy policy)
{
    const int possible = raiseDescriptorLimit();
    if (possible < limits.connections) {
        qCInfo(httpLog) << "The system's limit of open files leaves room for" << possible
                        << "connections instead of" << limits.connections;
        limits.connections = possible;
    }
    d = std::make_unique<Private>(limits, std::move(policy));
}

HttpServer::~HttpServer()
{
    d->listeners.clear();
    d->core.closeAll();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
}

void HttpServer::setStrategies(const QVector<http::ControllerStrategy *> &strategies)
{
    d->core.strategies = strategies;
}

bool HttpServer::listen(const Endpoint &endpoint, QString *error)
{
    Socket socket = Socket::listen(endpoint.address, endpoint.port, error);
    if (!socket.isOpen())
        return false;
    const QString name = Endpoint{endpoint.address, 0}.toString();
    d->core.policy.hosts.append(name.left(name.lastIndexOf(QLatin1Char(':'))));
    d->listeners.push_back(
        std::make_unique<Listener>(d->core, std::move(socket), endpoint.address));
    return true;
}

QVector<Endpoint> HttpServer::endpoints() const
{
    QVector<Endpoint> all;
    for (const auto &listener : d->listeners)
        all.append(listener->endpoint());
    return all;
}

ServerCounts HttpServer::counts() const
{
    ServerCounts counts;
    counts.connections = d->core.connectionCount();
    counts.waitingExchanges = d->core.waitingExchanges;
    counts.controllers = d->core.controllers;
    return counts;
}

void HttpServer::stopAccepting()
{
    d->core.stopping = true;
    d->listeners.clear();
}

void HttpServer::shutDown()
{
    stopAccepting();
    d->core.shutDownConnections();
    // The clients' systems take the answers; a client that does not is not waited for.
    QEventLoop loop;
    QTimer::singleShot(farewellTime, &loop, &QEventLoop::quit);
    d->core.onLastConnectionGone([&loop] { loop.quit(); });
    if (d->core.connectionCount() > 0)
        loop.exec();
    d->core.onLastConnectionGone({});
    d->core.closeAll();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
}

} // namespace host
