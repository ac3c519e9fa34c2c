// The part of Connection that makes answers of what controllers say, and sends them.
#include "http/connection.h"
#include "http/servercore.h"
#include "http/upload.h"

namespace host {

void Connection::sendAnswer(const ServerResponse &response, const QByteArray &body)
{
    ResponseFraming framing;
    framing.body =
        statusHasBody(response.status()) ? ResponseFraming::Length : ResponseFraming::None;
    framing.length = body.size();
    framing.keepAlive = m_keepAlive;
    framing.http10 = m_http10;
    const QByteArray head =
        responseHead(response.status(), response.fields(), m_extraLines, framing);
    const bool sendsBody = framing.body == ResponseFraming::Length && !m_isHead;
    send({head, sendsBody ? body : QByteArray()});
    m_isAnswered = true;
    if (!m_isInsideHandle)
        finishExchange(false);
}

void Connection::startStream(const ServerResponse &response)
{
    ResponseFraming framing;
    framing.body = m_http10 ? ResponseFraming::ToEnd : ResponseFraming::Chunked;
    m_keepAlive = m_keepAlive && !m_http10;
    framing.keepAlive = m_keepAlive;
    framing.http10 = m_http10;
    send({responseHead(response.status(), response.fields(), m_extraLines, framing)});
    if (!m_isHead)
        return;
    m_isAnswered = true;
    if (!m_isInsideHandle)
        finishExchange(false);
}

void Connection::sendStream(const QByteArray &bytes)
{
    if (m_isAnswered)
        return;
    if (m_http10) {
        send({bytes});
    } else {
        send({QByteArray::number(bytes.size(), 16) + "\r\n", bytes, QByteArrayLiteral("\r\n")});
    }
}

void Connection::send(std::initializer_list<QByteArray> pieces)
{
    if (m_isCutOff)
        return;
    if (m_isInsideHandle && m_out.isEmpty() && m_core.reactor->isInBatch()) {
        for (const QByteArray &piece : pieces)
            m_out.append(piece, 0);
        m_core.sendWithOthers(this);
        return;
    }
    const IoResult::Status status = sendOrQueue(m_socket, m_out, pieces);
    if (status == IoResult::Closed)
        cutOff();
    else if (status == IoResult::WouldBlock)
        updateInterest();
}

void Connection::sendUnsent()
{
    if (m_state != State::Closed && !m_isCutOff)
        flush();
}

void Connection::flush()
{
    const qint64 before = m_out.bytes();
    const IoResult::Status status = m_out.flush(m_socket);
    if (status == IoResult::Closed)
        return close();
    if (status == IoResult::WouldBlock) {
        if (m_state == State::Flushing && m_out.bytes() < before)
            m_core.progressDeadlines.restart(*this, m_core.now());
        return;
    }
    updateInterest();
    if (m_state == State::Flushing)
        afterAnswer();
}

void Connection::refuse(const Refusal &refusal, const RequestHead *head)
{
    stopTiming();
    m_upload.reset();
    m_keepAlive = false;
    QByteArray extraLines = head ? m_core.policy.corsHeaders(*head) : QByteArray();
    if (refusal.status == 401)
        extraLines += "WWW-Authenticate: Bearer\r\n";
    const QByteArray body = refusal.reason + '\n';
    ResponseFraming framing;
    framing.length = body.size();
    framing.keepAlive = false;
    const bool isHead = head && head->method == RequestHead::Method::Head;
    send({responseHead(refusal.status,
                       {{QStringLiteral("Content-Type"), QStringLiteral("text/plain")}}, extraLines,
                       framing),
          isHead ? QByteArray() : body});
    if (m_out.isEmpty())
        return linger();
    m_state = State::Flushing;
    m_core.progressDeadlines.restart(*this, m_core.now());
}

} // namespace host
