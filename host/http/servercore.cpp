#include "http/servercore.h"

#include "http/connection.h"
#include "http/httplogging.h"

#include <algorithm>
#include <utility>

namespace host {

Q_LOGGING_CATEGORY(httpLog, "kavo.host.http")

namespace {

constexpr int deadlineInterval = 500;
constexpr std::size_t scratchBytes = 64ULL * 1024;

} // namespace

ServerCore::ServerCore(const ServerLimits &serverLimits, AccessPolicy accessPolicy)
    : limits(serverLimits)
    , policy(std::move(accessPolicy))
    , headDeadlines(serverLimits.headerTimeout)
    , progressDeadlines(serverLimits.progressTimeout)
    , idleDeadlines(serverLimits.idleTimeout)
    , lingerDeadlines(serverLimits.lingerTimeout)
    , m_scratch(scratchBytes)
{
    m_clock.start();
    reactor = Reactor::create([this] {
        sendUnsent();
        sweep();
    });
    connect(&m_deadlineTimer, &QTimer::timeout, this, &ServerCore::checkDeadlines);
    m_deadlineTimer.setInterval(deadlineInterval);
    connect(&m_wakeTimer, &QTimer::timeout, this, &ServerCore::onAwake);
    m_wakeTimer.setSingleShot(true);
    m_wakeTimer.setInterval(0);
}

ServerCore::~ServerCore()
{
    closeAll();
}

void ServerCore::adopt(Socket socket)
{
    auto connection = std::make_unique<Connection>(*this, std::move(socket));
    connection->index = m_connections.size();
    m_connections.push_back(std::move(connection));
    if (!m_deadlineTimer.isActive())
        m_deadlineTimer.start();
}

void ServerCore::shutDownConnections()
{
    // Backwards: a connection that closes is replaced by the last one.
    for (std::size_t i = m_connections.size(); i-- > 0;)
        m_connections[i]->shutDown();
}

void ServerCore::onLastConnectionGone(std::function<void()> callback)
{
    m_lastConnectionGone = std::move(callback);
}

void ServerCore::closeAll()
{
    // Closing takes the connection out of the list.
    while (!m_connections.empty()) {
        m_connections.back()->cutOff();
        m_connections.back()->resume();
    }
    sweep();
    m_retired.clear();
}

void ServerCore::schedule(Connection *connection)
{
    if (connection->isScheduled)
        return;
    connection->isScheduled = true;
    connection->updateInterest();
    m_scheduled.push_back(connection);
    wake();
}

void ServerCore::bury(Connection *connection)
{
    const std::size_t index = connection->index;
    m_buried.push_back(std::move(m_connections[index]));
    if (index + 1 != m_connections.size()) {
        m_connections[index] = std::move(m_connections.back());
        m_connections[index]->index = index;
    }
    m_connections.pop_back();
    if (m_connections.empty()) {
        m_deadlineTimer.stop();
        if (m_lastConnectionGone)
            m_lastConnectionGone();
    }
    wake();
}

void ServerCore::retire(ControllerSlot slot, bool isIdle)
{
    std::unique_ptr<http::Controller> controller = slot.release();
    if (!controller || isIdle)
        return;
    m_retired.push_back(std::move(controller));
    wake();
}

void ServerCore::sendWithOthers(Connection *connection)
{
    constexpr std::size_t enough = 16;
    if (m_unsent.size() == enough)
        sendUnsent();
    m_unsent.push_back(connection);
}

void ServerCore::sendUnsent()
{
    for (Connection *connection : std::exchange(m_unsent, {}))
        connection->sendUnsent();
}

void ServerCore::wake()
{
    if (!m_wakeTimer.isActive())
        m_wakeTimer.start();
}

void ServerCore::onAwake()
{
    const std::vector<Connection *> scheduled = std::exchange(m_scheduled, {});
    for (Connection *connection : scheduled) {
        connection->isScheduled = false;
        connection->resume();
    }
    m_retired.clear();
    sweep();
}

// Only where no connection's function is running: after a batch of the reactor, or from the loop.
void ServerCore::sweep()
{
    if (m_buried.empty())
        return;
    const auto buried = std::exchange(m_buried, {});
    for (const auto &connection : buried) {
        if (connection->isScheduled)
            m_scheduled.erase(std::find(m_scheduled.begin(), m_scheduled.end(), connection.get()));
    }
}

void ServerCore::checkDeadlines()
{
    checkList(headDeadlines);
    checkList(progressDeadlines);
    checkList(idleDeadlines);
    checkList(lingerDeadlines);
    sweep();
}

void ServerCore::checkList(DeadlineList &list)
{
    const qint64 moment = now();
    while (Timed *expired = list.takeExpired(moment))
        static_cast<Connection *>(expired)->onDeadline();
}

} // namespace host
