#include "exchange/eventstreamcontroller.h"

#include "exchange/exchangelog.h"
#include "http/streamingresponse.h"
#include "routes/answers.h"

#include <http/server/request.h>

#include <stdexcept>

namespace host {

EventStreamController::EventStreamController(EmbeddedExchange *exchange)
    : m_exchange(exchange)
{
}

EventStreamController::~EventStreamController()
{
    m_exchange->unfollow(this);
}

void EventStreamController::handle()
{
    QString error;
    const auto wanted = readEventStreamRequest(
        m_request->url(), m_request->header(QStringLiteral("Last-Event-ID")), &error);
    if (!wanted) {
        answerText(*m_response, 400, error);
        return;
    }
    m_wanted = *wanted;
    m_response->setHeader(QStringLiteral("Content-Type"), QStringLiteral("text/event-stream"));
    m_response->setHeader(QStringLiteral("Cache-Control"), QStringLiteral("no-store"));
    m_stream = std::dynamic_pointer_cast<StreamingResponse>(m_response);
    if (!m_stream)
        throw std::logic_error("The event stream needs a response that can be a stream");
    begin();
}

void EventStreamController::begin()
{
    m_stream->beginStream(200);
    if (m_request->method() == http::server::Request::Head)
        return; // the head is all of it
    m_stream->writeStream(connectedText());
    if (m_wanted.after)
        replay(*m_wanted.after);
    m_exchange->follow(this);
}

void EventStreamController::replay(qint64 after)
{
    const EventLog::Backlog backlog = m_exchange->since(after);
    if (backlog.gap)
        m_stream->writeStream(gapText(backlog.missed));
    for (const ChunkEventPtr &event : backlog.events) {
        if (m_wanted.wants(event->direction()) && !m_stream->writeStream(event->text()))
            return;
    }
}

void EventStreamController::chunkEvent(const ChunkEvent &event)
{
    if (!m_wanted.wants(event.direction()))
        return;
    // The stream goes out in order, so whatever waits beyond the new bytes is still replay.
    const bool keepsUp = qMin(m_stream->pendingBytes(), m_newBytes) == 0;
    if (!m_stream->writeStream(event.text())) {
        m_exchange->unfollow(this);
        return;
    }
    m_newBytes += event.text().size();
    // One chunk may be larger than the limit: who had read everything before it gets it whole.
    if (!keepsUp &&
        qMin(m_stream->pendingBytes(), m_newBytes) >= m_exchange->limits().followerBacklog)
        cutOff();
}

void EventStreamController::heartbeat(const QByteArray &text)
{
    if (m_stream->pendingBytes() == 0)
        m_stream->writeStream(text); // a stream with something waiting is not quiet
}

void EventStreamController::cutOff()
{
    qCWarning(lcExchange) << "A follower that does not read is cut off with"
                          << m_stream->pendingBytes() << "bytes waiting";
    m_exchange->unfollow(this);
    m_stream->abort();
}

} // namespace host
