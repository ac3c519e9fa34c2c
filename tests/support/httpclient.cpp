#include "support/httpclient.h"

#include "support/deadline.h"

#include <QtCore/QJsonDocument>

#include <boost/asio/connect.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/write.hpp>

namespace support {

namespace asio = boost::asio;
using asio::ip::tcp;
using boost::system::error_code;

namespace {

constexpr int receiveBytes = 64 * 1024;

// Shared by all clients of a thread, of which only one waits at a time: a thousand of them need no
// more than their thousand sockets.
asio::io_context &context()
{
    thread_local asio::io_context shared(1);
    return shared;
}

// Waits for the operation that was just started on the socket, or gives it up.
template<typename Done>
void waitFor(tcp::socket &socket, std::chrono::milliseconds limit, const Done &isDone)
{
    context().restart();
    context().run_for(limit);
    if (isDone())
        return;
    error_code ignored;
    socket.cancel(ignored);
    context().restart();
    context().run();
}

} // namespace

int HttpResponse::count(const QByteArray &name) const
{
    int found = 0;
    for (const auto &each : fields)
        found += each.first.compare(name, Qt::CaseInsensitive) == 0 ? 1 : 0;
    return found;
}

QByteArray HttpResponse::field(const QByteArray &name) const
{
    for (const auto &each : fields) {
        if (each.first.compare(name, Qt::CaseInsensitive) == 0)
            return each.second;
    }
    return {};
}

QJsonObject HttpResponse::json() const
{
    return QJsonDocument::fromJson(body).object();
}

QJsonArray HttpResponse::jsonArray() const
{
    return QJsonDocument::fromJson(body).array();
}

QByteArray requestBytes(const QByteArray &method, const QByteArray &target,
                        const HttpFields &fields, const QByteArray &body)
{
    QByteArray text = method + ' ' + target + " HTTP/1.1\r\nHost: localhost\r\n";
    for (const auto &field : fields)
        text += field.first + ": " + field.second + "\r\n";
    if (!body.isNull())
        text += "Content-Length: " + QByteArray::number(body.size()) + "\r\n";
    return text + "\r\n" + body;
}

bool hasIpv6Loopback()
{
    error_code error;
    tcp::socket socket(context());
    socket.open(tcp::v6(), error);
    if (!error)
        socket.bind(tcp::endpoint(asio::ip::address_v6::loopback(), 0), error);
    return !error;
}

struct HttpClient::Connection
{
    tcp::socket socket{context()};
};

HttpClient::HttpClient(quint16 port, const char *address)
    : m_connection(std::make_unique<Connection>())
{
    std::optional<error_code> result;
    m_connection->socket.async_connect(tcp::endpoint(asio::ip::make_address(address), port),
                                       [&](error_code error) { result = error; });
    waitFor(m_connection->socket, m_patience, [&] { return result.has_value(); });
    error_code ignored;
    m_connection->socket.set_option(tcp::no_delay(true), ignored); // pieces go out as they are sent
    if (result.value_or(asio::error::timed_out))
        close();
}

HttpClient::~HttpClient() = default;
HttpClient::HttpClient(HttpClient &&) noexcept = default;
HttpClient &HttpClient::operator=(HttpClient &&) noexcept = default;

bool HttpClient::isConnected() const
{
    return m_connection->socket.is_open();
}

bool HttpClient::send(const QByteArray &bytes)
{
    std::optional<error_code> result;
    asio::async_write(m_connection->socket,
                      asio::buffer(bytes.constData(), std::size_t(bytes.size())),
                      [&](error_code error, std::size_t) { result = error; });
    waitFor(m_connection->socket, m_patience, [&] { return result.has_value(); });
    return result.has_value() && !*result;
}

HttpClient::Fill HttpClient::fill()
{
    if (m_hasEnded)
        return Fill::End; // which the system would not tell a second time
    QByteArray block(receiveBytes, Qt::Uninitialized);
    std::optional<error_code> result;
    std::size_t size = 0;
    m_connection->socket.async_read_some(asio::buffer(block.data(), std::size_t(block.size())),
                                         [&](error_code error, std::size_t bytes) {
                                             result = error;
                                             size = bytes;
                                         });
    waitFor(m_connection->socket, m_patience, [&] { return result.has_value(); });
    m_hasEnded = result == error_code(asio::error::eof);
    if (m_hasEnded)
        return Fill::End;
    if (!result || *result)
        return Fill::Broken;
    if (m_used == m_buffer.size()) {
        m_buffer.clear();
        m_used = 0;
    }
    m_buffer.append(block.constData(), int(size));
    return Fill::Bytes;
}

std::optional<QByteArray> HttpClient::readLine()
{
    int from = m_used;
    for (;;) {
        const int end = m_buffer.indexOf('\n', from);
        if (end >= 0) {
            const QByteArray line = m_buffer.mid(m_used, end - m_used);
            m_used = end + 1;
            if (!line.endsWith('\r'))
                return std::nullopt;
            return line.left(line.size() - 1);
        }
        const int unread = m_buffer.size() - m_used;
        if (fill() != Fill::Bytes)
            return std::nullopt;
        from = m_used + unread;
    }
}

std::optional<QByteArray> HttpClient::readExactly(qint64 size)
{
    while (m_buffer.size() - m_used < size) {
        if (fill() != Fill::Bytes)
            return std::nullopt;
    }
    const QByteArray bytes = m_buffer.mid(m_used, int(size));
    m_used += int(size);
    return bytes;
}

bool HttpClient::readFields(HttpResponse *response)
{
    for (;;) {
        const auto line = readLine();
        if (!line)
            return false;
        if (line->isEmpty())
            return true;
        const int colon = line->indexOf(':');
        if (colon < 1)
            return false;
        response->fields.append({line->left(colon), line->mid(colon + 1).trimmed()});
    }
}

HttpResponse HttpClient::readHead()
{
    HttpResponse response;
    const auto line = readLine();
    if (!line) {
        response.fault = QStringLiteral("The connection ended, or nothing came, before an answer");
        return response;
    }
    response.statusLine = *line;
    if (!readFields(&response))
        response.fault = QStringLiteral("The answer's head is malformed or does not end");
    else if (!line->startsWith("HTTP/1.1 ") || line->size() < 13 || line->at(12) != ' ')
        response.fault = QStringLiteral("The status line is malformed");
    else
        response.status = line->mid(9, 3).toInt();
    return response;
}

HttpResponse HttpClient::readResponse(bool isToHead)
{
    HttpResponse response = readHead();
    const bool hasBody = response.status >= 200 && response.status != 204 && response.status != 304;
    if (hasBody && !isToHead)
        readBody(&response);
    return response;
}

void HttpClient::readBody(HttpResponse *response)
{
    response->body = QByteArrayLiteral("");
    if (response->field("Transfer-Encoding") == "chunked") {
        QByteArray chunk;
        while (!(chunk = readChunk()).isEmpty())
            response->body += chunk;
        if (chunk.isNull())
            response->fault = QStringLiteral("The chunked body is malformed or does not end");
    } else if (!response->field("Content-Length").isNull()) {
        const auto body = readExactly(response->field("Content-Length").toLongLong());
        response->body = body.value_or(QByteArray());
        if (!body)
            response->fault = QStringLiteral("The body is shorter than its Content-Length");
    } else {
        response->body = readToEnd();
        if (response->body.isNull())
            response->fault = QStringLiteral("The body does not end");
    }
    if (!response->fault.isEmpty())
        response->status = 0;
}

QByteArray HttpClient::readChunk()
{
    const auto sizeLine = readLine();
    bool isNumber = false;
    const int size = sizeLine ? sizeLine->toInt(&isNumber, 16) : -1;
    if (!isNumber || size < 0)
        return {};
    const auto bytes = readExactly(size);
    const auto lineEnd = bytes ? readLine() : std::nullopt;
    if (!lineEnd || !lineEnd->isEmpty())
        return {};
    return size == 0 ? QByteArrayLiteral("") : *bytes;
}

HttpResponse HttpClient::exchange(const QByteArray &method, const QByteArray &target,
                                  const HttpFields &fields, const QByteArray &body)
{
    send(requestBytes(method, target, fields, body));
    return readResponse(method == "HEAD");
}

QByteArray HttpClient::readToEnd()
{
    Fill last = Fill::Bytes;
    while (last == Fill::Bytes)
        last = fill();
    QByteArray rest = QByteArrayLiteral("") + m_buffer.mid(m_used);
    m_used = m_buffer.size();
    if (last == Fill::Broken)
        return {};
    return rest.isEmpty() ? QByteArrayLiteral("") : rest;
}

bool HttpClient::breaks()
{
    const QDeadlineTimer deadline(m_patience);
    while (fill() == Fill::Bytes) {
    }
    return !deadline.hasExpired();
}

bool HttpClient::hasInput() const
{
    error_code ignored;
    return m_used < m_buffer.size() || m_connection->socket.available(ignored) > 0;
}

QByteArray HttpClient::readBytes(int size)
{
    return readExactly(size).value_or(QByteArray());
}

void HttpClient::endSending()
{
    error_code ignored;
    m_connection->socket.shutdown(tcp::socket::shutdown_send, ignored);
}

void HttpClient::close()
{
    error_code ignored;
    m_connection->socket.close(ignored);
}

void HttpClient::reset()
{
    error_code ignored;
    m_connection->socket.set_option(asio::socket_base::linger(true, 0), ignored);
    close();
}

} // namespace support
