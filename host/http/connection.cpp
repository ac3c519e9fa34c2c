#include "http/connection.h"

#include "http/httplogging.h"
#include "http/servercore.h"
#include "http/serverrequest.h"
#include "http/upload.h"

#include <http/controllerstrategy.h>

#include <exception>
#include <utility>

namespace host {

namespace {

/// Whether the answer comes soon: what was asked before need not wait for it any longer than for
/// anything else. Others deliver chunks, read files, or sleep until a context's id is free.
bool isQuick(const RequestHead &head, const QByteArray &body)
{
    constexpr int small = 64 * 1024;
    const bool isUsual =
        head.method == RequestHead::Method::Get || head.method == RequestHead::Method::Put;
    return isUsual && body.size() <= small;
}

} // namespace

Connection::Connection(ServerCore &core, Socket socket)
    : m_core(core)
    , m_socket(std::move(socket))
{
    if (!m_core.reactor->add(m_socket.handle(), this))
        cutOff();
    m_core.headDeadlines.restart(*this, m_core.now());
}

Connection::~Connection() = default;

void Connection::onReady(const Readiness &ready)
{
    if (m_state == State::Closed)
        return;
    if (ready.broken) {
        close();
        return;
    }
    if (ready.writable && !m_out.isEmpty())
        flush();
    if (ready.readable || ready.peerClosed)
        receive(ready.peerClosed);
}

void Connection::dispatch(RequestHead head, QByteArray body)
{
    stopTiming();
    m_state = State::Handling;
    m_isAnswered = false;
    m_keepAlive = head.keepAlive && !m_core.stopping;
    m_http10 = head.http10;
    m_isHead = head.method == RequestHead::Method::Head;
    m_extraLines = m_core.policy.corsHeaders(head);
    m_response = std::make_shared<ServerResponse>(this);
    ++m_core.waitingExchanges;
    m_isInsideHandle = true;
    if (AccessPolicy::isPreflight(head)) {
        m_extraLines += AccessPolicy::preflightHeaders(head);
        m_response->writeHead(204);
        m_response->end({});
    } else if (head.text(head.target) == "*") {
        m_extraLines += "Allow: GET, HEAD, POST, PUT, DELETE, OPTIONS\r\n";
        m_response->writeHead(204);
        m_response->end({});
    } else {
        if (!isQuick(head, body))
            m_core.sendUnsent();
        runController(std::make_shared<ServerRequest>(std::move(head), std::move(body)));
    }
    m_isInsideHandle = false;
    if (m_isAnswered)
        finishExchange(true);
}

void Connection::runController(const std::shared_ptr<http::server::Request> &request)
{
    // Held here as well: the controller's end may come from inside its own call.
    const std::shared_ptr<ServerResponse> response = m_response;
    try {
        http::Controller *controller = nullptr;
        for (http::ControllerStrategy *strategy : m_core.strategies) {
            controller = strategy->createController(request);
            if (controller)
                break;
        }
        if (!controller) {
            response->setHeader(QStringLiteral("Content-Type"), QStringLiteral("text/plain"));
            response->writeHead(404);
            response->end(QByteArrayLiteral("Nothing is served at this address.\n"));
            return;
        }
        m_controller = ControllerSlot(controller);
        ++m_core.controllers;
        controller->setRequest(request);
        controller->setResponse(response);
        controller->handle();
    } catch (const std::exception &exception) {
        qCWarning(httpLog) << "A controller failed:" << exception.what();
        response->fail();
    } catch (...) {
        qCWarning(httpLog) << "A controller failed with an exception of an unknown kind.";
        response->fail();
    }
}

// May be called from inside a controller: the end itself comes from the event loop.
void Connection::cutOff()
{
    m_isCutOff = true;
    m_core.schedule(this);
}

void Connection::finishExchange(bool controllerIsIdle)
{
    dropExchange(controllerIsIdle);
    m_extraLines.clear();
    if (m_out.isEmpty())
        return afterAnswer();
    m_state = State::Flushing;
    m_core.progressDeadlines.restart(*this, m_core.now());
}

void Connection::dropExchange(bool controllerIsIdle)
{
    if (!m_response)
        return;
    m_response->detach();
    m_response.reset();
    --m_core.waitingExchanges;
    if (m_controller.get()) {
        --m_core.controllers;
        m_core.retire(std::move(m_controller), controllerIsIdle);
    }
}

void Connection::afterAnswer()
{
    if (!m_keepAlive)
        return linger();
    m_state = State::Head;
    m_core.idleDeadlines.restart(*this, m_core.now());
    if (!m_isProcessing && (!m_in.isEmpty() || m_isReadingPaused || m_isPeerClosed))
        m_core.schedule(this);
}

void Connection::resume()
{
    if (m_state == State::Closed)
        return;
    if (m_isCutOff)
        return close();
    if (!isReadingAhead())
        m_isReadingPaused = false;
    updateInterest();
    if (!m_in.isEmpty() && !isReadingAhead())
        feed(nullptr, 0);
    if (!isScheduled)
        receive(m_isPeerClosed);
}

void Connection::onPeerClosed()
{
    m_isPeerClosed = true;
    // What was answered is still delivered, and what was asked before the end is still answered;
    // what is still being handled has lost its client.
    if (isScheduled)
        return; // `resume` serves what was read, and meets the end again
    if (m_state != State::Flushing)
        return close();
    m_isReadingPaused = true;
    updateInterest();
}

void Connection::updateInterest()
{
    m_core.reactor->setInterest(m_socket.handle(), !m_isReadingPaused && !isScheduled,
                                !m_out.isEmpty());
}

// Closing at once while the client still sends would make its system throw the answer away.
void Connection::linger()
{
    m_in.clear();
    m_state = State::Lingering;
    if (m_isPeerClosed)
        return close();
    m_socket.shutDownWriting();
    m_core.lingerDeadlines.restart(*this, m_core.now());
    if (m_isReadingPaused)
        m_core.schedule(this);
}

void Connection::onDeadline()
{
    const bool isArriving = m_state == State::Body || (m_state == State::Head && m_startedHead);
    if (isArriving)
        refuse({408, "The request took too long to arrive."});
    else
        close();
}

void Connection::shutDown()
{
    if (m_state == State::Handling && !m_isAnswered) {
        m_keepAlive = false;
        if (m_response->isStream()) {
            if (!m_http10)
                send({QByteArrayLiteral("0\r\n\r\n")});
        } else {
            ResponseFraming framing;
            framing.keepAlive = false;
            send({responseHead(503, {}, m_extraLines + "Retry-After: 1\r\n", framing)});
        }
        finishExchange(false);
    } else if (m_state == State::Head || m_state == State::Body) {
        close();
    } else {
        m_keepAlive = false;
    }
}

void Connection::close()
{
    if (m_state == State::Closed)
        return;
    m_state = State::Closed;
    stopTiming();
    dropExchange(false);
    m_upload.reset();
    m_in.clear();
    m_out.clear();
    m_core.reactor->remove(m_socket.handle());
    m_socket.close();
    m_core.bury(this);
}

} // namespace host
