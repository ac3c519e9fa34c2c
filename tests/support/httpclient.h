#pragma once

#include "support/deadline.h"

#include <QtCore/QByteArray>
#include <QtCore/QJsonArray>
#include <QtCore/QJsonObject>
#include <QtCore/QPair>
#include <QtCore/QString>
#include <QtCore/QVector>

#include <memory>
#include <optional>

namespace support {

using HttpFields = QVector<QPair<QByteArray, QByteArray>>;

/// An answer as it stood on the wire.
struct HttpResponse
{
    int status = 0; ///< 0: there was none, or a malformed one; `fault` says why
    QByteArray statusLine;
    HttpFields fields;
    QByteArray body;
    QString fault;

    int count(const QByteArray &name) const;        ///< how many fields have the name
    QByteArray field(const QByteArray &name) const; ///< the first of them; null when there is none
    QJsonObject json() const;
    QJsonArray jsonArray() const;
};

/// The bytes of a request with a Host field, and a Content-Length where there is a body. A null
/// body is none, an empty one is one of no bytes.
QByteArray requestBytes(const QByteArray &method, const QByteArray &target,
                        const HttpFields &fields = {}, const QByteArray &body = {});

/// Whether this machine has the address ::1.
bool hasIpv6Loopback();

/// One connection to a kavo-host on this machine. Every call waits for what it asks for, but not
/// for ever. Lives on the thread that made it.
class HttpClient
{
public:
    explicit HttpClient(quint16 port, const char *address = "127.0.0.1");
    ~HttpClient();
    HttpClient(HttpClient &&) noexcept;
    HttpClient &operator=(HttpClient &&) noexcept;

    bool isConnected() const;

    /// How long each call waits, where it has to be longer than what any test waits for.
    void setPatience(std::chrono::milliseconds limit) { m_patience = limit; }

    /// False when the connection broke before everything was taken.
    bool send(const QByteArray &bytes);

    /// One whole answer; a body is read as its head says. An answer to HEAD has none.
    HttpResponse readResponse(bool isToHead = false);

    /// The head alone, for an answer that does not end.
    HttpResponse readHead();

    /// The bytes of the next piece of a chunked body; empty after the last one, null when the
    /// connection broke or the piece is malformed.
    QByteArray readChunk();

    /// Sends a request and reads its answer.
    HttpResponse exchange(const QByteArray &method, const QByteArray &target,
                          const HttpFields &fields = {}, const QByteArray &body = {});

    /// Everything until the server ends the connection in good order; null when it does not.
    QByteArray readToEnd();

    /// So many bytes; null when the connection ends before them.
    QByteArray readBytes(int size);

    /// Whether the server ends the connection in good order without another byte.
    bool endsHere() { return readToEnd() == QByteArrayLiteral(""); }

    /// Whether the connection ends in whatever way, bytes before its end or not.
    bool breaks();

    /// Whether anything has arrived that was not read yet.
    bool hasInput() const;

    void endSending(); ///< a FIN; reading goes on
    void close();
    void reset(); ///< closes with a RST instead of a FIN

private:
    struct Connection;

    enum class Fill { Bytes, End, Broken };
    Fill fill();
    std::optional<QByteArray> readLine();
    std::optional<QByteArray> readExactly(qint64 size);
    bool readFields(HttpResponse *response);
    void readBody(HttpResponse *response);

    std::unique_ptr<Connection> m_connection;
    std::chrono::milliseconds m_patience = patience;
    QByteArray m_buffer;
    int m_used = 0;
    bool m_hasEnded = false; ///< the server has ended its side
};

} // namespace support
