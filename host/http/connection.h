#pragma once

#include "http/controllerslot.h"
#include "http/deadlines.h"
#include "http/headscanner.h"
#include "http/outputqueue.h"
#include "http/reactor.h"
#include "http/refusal.h"
#include "http/serverresponse.h"

#include <QtCore/QByteArray>

#include <memory>

namespace host {

class ServerCore;
class RequestParser;
struct RequestHead;
struct Upload;

/// One client's connection: reads requests, hands them to the strategies one after the other,
/// writes the answers, and notices when the client is gone. Small while it waits: what reading
/// needs is there only while something is being read. Owned by ServerCore.
class Connection final : public ReadinessSink, public ResponseSink, public Timed
{
public:
    Connection(ServerCore &core, Socket socket);
    ~Connection();

    void onReady(const Readiness &ready) override;

    /// Closes the connection, from the event loop.
    void cutOff() override;

    /// Goes on with what had to wait for the event loop: requests read ahead, an end decided inside
    /// a controller's call.
    void resume();

    /// Tells the reactor what this connection is waiting for. One that is scheduled reads nothing
    /// until its turn: what has arrived would be announced again and again, and on Windows nothing
    /// else would get its turn before that.
    void updateInterest();

    /// Sends the answer that was kept for the end of the batch.
    void sendUnsent();

    void onDeadline();

    /// Answers a waiting request 503, ends a stream, closes an idle connection.
    void shutDown();

    std::size_t index = 0;    ///< in ServerCore's list
    bool isScheduled = false; ///< in ServerCore's queue

private:
    enum class State : quint8 { Head, Body, Handling, Flushing, Lingering, Closed };

    void sendAnswer(const ServerResponse &response, const QByteArray &body) override;
    void startStream(const ServerResponse &response) override;
    void sendStream(const QByteArray &bytes) override;
    qint64 unsentBytes() const override { return m_out.bytes(); }

    void receive(bool peerClosed);
    IoResult receiveBody(std::size_t *asked);
    void feed(const char *data, std::size_t size);
    void onPeerClosed();
    std::size_t process(const char *data, std::size_t size);
    std::size_t readHead(const char *data, std::size_t size);
    std::size_t readBody(const char *data, std::size_t size);
    void beginRequest(const QByteArray &headBytes);
    void beginBody(RequestHead head, std::unique_ptr<RequestParser> parser);
    void dispatch(RequestHead head, QByteArray body);
    void runController(const std::shared_ptr<http::server::Request> &request);
    void finishExchange(bool controllerIsIdle);
    void afterAnswer();
    void refuse(const Refusal &refusal, const RequestHead *head = nullptr);
    void send(std::initializer_list<QByteArray> pieces);
    void flush();
    void linger();
    void dropExchange(bool controllerIsIdle);
    void close();
    bool isReadingAhead() const { return m_state == State::Handling || m_state == State::Flushing; }

    ServerCore &m_core;
    Socket m_socket;
    QByteArray m_in;         ///< read but not used yet
    QByteArray m_extraLines; ///< CORS header lines of the answer
    OutputQueue m_out;
    HeadScanner m_scanner;
    std::unique_ptr<Upload> m_upload;
    std::shared_ptr<ServerResponse> m_response;
    ControllerSlot m_controller;
    State m_state = State::Head;
    bool m_keepAlive = true;
    bool m_http10 = false;
    bool m_isHead = false;
    bool m_isInsideHandle = false;
    bool m_isProcessing = false;
    bool m_isAnswered = false;
    bool m_isCutOff = false;
    bool m_isReadingPaused = false;
    bool m_isPeerClosed = false;
    bool m_skippedLine = false; ///< the one empty line before a request that is let pass
    bool m_startedHead = false;
};

} // namespace host
