#pragma once

#include "support/httpclient.h"

#include <QtCore/QByteArray>
#include <QtCore/QJsonObject>

namespace support {

/// One event of a text/event-stream.
struct StreamEvent
{
    QByteArray id;
    QByteArray event; ///< null: there was none, since the stream ended or nothing came
    QByteArray data;

    QJsonObject json() const;
};

/// A follower of GET /exchange/chunks. The constructor returns once the stream is connected, so
/// that every later chunk is on it. Lives in a test, on its thread.
class EventStream
{
public:
    explicit EventStream(quint16 port, const QByteArray &query = {}, const HttpFields &fields = {});

    const HttpResponse &head() const { return m_head; }

    /// The text up to the next blank line, comment or event; null when none came.
    QByteArray nextBlock();

    /// The next event; comments are passed over.
    StreamEvent next();

    HttpClient &client() { return m_client; }

private:
    HttpClient m_client;
    HttpResponse m_head;
    QByteArray m_text;
};

} // namespace support
