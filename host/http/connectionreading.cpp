// The part of Connection that makes requests of what arrives.
#include "common/largepages.h"
#include "http/connection.h"
#include "http/servercore.h"
#include "http/upload.h"

#include <utility>

namespace host {

namespace {

// One connection reads at most this much before the others have their turn.
constexpr std::size_t readBudget = 8ULL * 1024 * 1024;

// After this many milliseconds of requests that one client sent ahead, the others have their turn.
constexpr qint64 turn = 2;

// A Content-Length alone claims no memory: the whole of it is set aside once this much has arrived.
constexpr qint64 firstBodyBlock = 64LL * 1024;

// The size line of a chunk, or the trailers, that do not end.
constexpr std::size_t maxUnusedChunkBytes = 16ULL * 1024;

const QByteArray &continueLine()
{
    static const QByteArray line("HTTP/1.1 100 Continue\r\n\r\n");
    return line;
}

} // namespace

void Connection::receive(bool peerClosed)
{
    std::size_t total = 0;
    while (m_state != State::Closed) {
        if (isReadingAhead() && m_in.size() >= m_core.limits.pipelined) {
            m_isReadingPaused = true;
            updateInterest();
            if (peerClosed)
                onPeerClosed();
            return;
        }
        std::size_t asked = m_core.scratchSize();
        const bool isRawBody = m_state == State::Body && !m_upload->parser && m_in.isEmpty();
        const IoResult result =
            isRawBody ? receiveBody(&asked) : m_socket.receive(m_core.scratch(), asked);
        if (result.status == IoResult::Closed)
            return onPeerClosed();
        if (result.status == IoResult::WouldBlock)
            return;
        if (!isRawBody)
            feed(m_core.scratch(), result.bytes);
        total += result.bytes;
        if (isScheduled) {
            m_isPeerClosed = m_isPeerClosed || peerClosed;
            return;
        }
        if (result.bytes < asked && !peerClosed)
            return;
        if (total > readBudget) {
            m_isPeerClosed = m_isPeerClosed || peerClosed;
            return m_core.schedule(this);
        }
    }
}

// Reads a body of known length straight into its place.
IoResult Connection::receiveBody(std::size_t *asked)
{
    Upload &upload = *m_upload;
    const qint64 length = upload.head.contentLength;
    if (upload.received == upload.body.size()) {
        const bool isBegun = upload.received >= firstBodyBlock;
        if (isBegun)
            upload.body.reserve(int(length)); // resize() alone would set aside up to twice as much
        upload.body.resize(int(isBegun ? length : qMin(length, firstBodyBlock)));
        common::preferLargePages(&upload.body);
    }
    *asked = std::size_t(upload.body.size() - upload.received);
    const IoResult result = m_socket.receive(upload.body.data() + upload.received, *asked);
    if (result.status != IoResult::Ok)
        return result;
    upload.received += qint64(result.bytes);
    m_core.progressDeadlines.restart(*this, m_core.now());
    if (upload.received == length) {
        const std::unique_ptr<Upload> done = std::move(m_upload);
        m_isProcessing = true;
        dispatch(std::move(done->head), std::move(done->body));
        m_isProcessing = false;
        *asked = 0; // what follows belongs to the next request
    }
    return result;
}

void Connection::feed(const char *data, std::size_t size)
{
    if (m_state == State::Lingering)
        return;
    if (isReadingAhead()) {
        m_in.append(data, int(size));
        return;
    }
    if (m_in.isEmpty()) {
        const std::size_t used = process(data, size);
        if (m_state != State::Closed && used < size)
            m_in = QByteArray(data + used, int(size - used));
        return;
    }
    // Taken out of the connection while it is used: a controller may close the connection.
    QByteArray buffer = std::move(m_in);
    m_in.clear();
    buffer.append(data, int(size));
    const std::size_t used = process(buffer.constData(), std::size_t(buffer.size()));
    if (m_state != State::Closed) {
        buffer.remove(0, int(used));
        m_in = std::move(buffer);
    }
}

std::size_t Connection::process(const char *data, std::size_t size)
{
    m_isProcessing = true;
    std::size_t used = 0;
    const qint64 start = m_core.now();
    while (used < size) {
        if (used > 0 && m_state == State::Head && m_core.now() - start >= turn) {
            m_core.schedule(this);
            break;
        }
        std::size_t taken = 0;
        if (m_state == State::Head)
            taken = readHead(data + used, size - used);
        else if (m_state == State::Body)
            taken = readBody(data + used, size - used);
        if (taken == 0)
            break;
        used += taken;
    }
    m_isProcessing = false;
    return m_state == State::Lingering ? size : used;
}

std::size_t Connection::readHead(const char *data, std::size_t size)
{
    // A client may send one empty line too many after a body.
    if (!m_skippedLine && !m_startedHead && data[0] == '\r') {
        if (size < 2)
            return 0;
        m_skippedLine = true;
        if (data[1] == '\n')
            return 2;
    }
    if (!m_startedHead) {
        m_startedHead = true;
        m_core.headDeadlines.restart(*this, m_core.now());
        if (!isTokenCharacter(data[0])) {
            refuse({400, "The request line is malformed."});
            return size;
        }
    }
    switch (m_scanner.scan(data, size, m_core.limits)) {
    case HeadScanner::Incomplete:
        return 0;
    case HeadScanner::Complete:
        break;
    case HeadScanner::BadLineEnd:
        refuse({400, "A line of the request head does not end in CR LF."});
        return size;
    case HeadScanner::FoldedField:
        refuse({400, "A folded header field is not accepted."});
        return size;
    case HeadScanner::RequestLineTooLong:
        refuse({414, "The request line is too long."});
        return size;
    case HeadScanner::HeaderSectionTooLong:
        refuse({431, "The header section is too large."});
        return size;
    }
    const std::size_t headSize = m_scanner.headSize();
    m_scanner = {};
    m_startedHead = false;
    m_skippedLine = false;
    beginRequest(QByteArray(data, int(headSize)));
    return headSize;
}

void Connection::beginRequest(const QByteArray &headBytes)
{
    auto parser = std::make_unique<RequestParser>(m_core.limits.body);
    RequestHead head;
    if (const Refusal refusal = parser->parseHead(headBytes, &head))
        return refuse(refusal);
    if (const Refusal refusal = m_core.policy.check(head))
        return refuse(refusal, &head);
    if (head.contentLength > m_core.limits.body)
        return refuse({413, "The request body is too large."}, &head);
    if (head.hasBody())
        beginBody(std::move(head), std::move(parser));
    else
        dispatch(std::move(head), {});
}

void Connection::beginBody(RequestHead head, std::unique_ptr<RequestParser> parser)
{
    m_upload = std::make_unique<Upload>();
    m_upload->head = std::move(head);
    if (m_upload->head.chunked)
        m_upload->parser = std::move(parser);
    m_state = State::Body;
    m_core.progressDeadlines.restart(*this, m_core.now());
    if (m_upload->head.expectContinue)
        send({continueLine()});
}

std::size_t Connection::readBody(const char *data, std::size_t size)
{
    Upload &upload = *m_upload;
    bool complete = false;
    std::size_t used = 0;
    if (upload.parser) {
        const Refusal refusal =
            upload.parser->parseChunked(data, size, &upload.body, &used, &complete);
        if (refusal) {
            refuse(refusal);
            return size;
        }
        if (!complete && size - used > maxUnusedChunkBytes) {
            refuse({400, "The chunked body is malformed."});
            return size;
        }
    } else {
        used = std::size_t(qMin(qint64(size), upload.head.contentLength - upload.received));
        upload.body.append(data, int(used));
        upload.received += qint64(used);
        complete = upload.received == upload.head.contentLength;
    }
    if (used > 0)
        m_core.progressDeadlines.restart(*this, m_core.now());
    if (complete) {
        const std::unique_ptr<Upload> done = std::move(m_upload);
        dispatch(std::move(done->head), std::move(done->body));
    }
    return used;
}

} // namespace host
