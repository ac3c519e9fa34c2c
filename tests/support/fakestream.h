#pragma once

#include "http/streamingresponse.h"

#include <QtCore/QMap>
#include <QtCore/QString>

namespace support {

/// A response of kavo-host's server without a server: keeps what was answered or streamed. Its
/// client reads everything at once, or, with `reads` off, nothing any more. Lives in a test
/// function, on its thread.
class FakeStream final : public host::StreamingResponse
{
public:
    void setHeader(const QString &name, const QString &value) override
    {
        m_headers.insert(name.toLower(), value);
    }

    void writeHead(int status) override { m_status = status; }

    void end(const QByteArray &body) override
    {
        m_body = body;
        ++m_ends;
    }

    void beginStream(int status) override
    {
        m_status = status;
        m_streaming = true;
    }

    bool writeStream(const QByteArray &bytes) override
    {
        if (gone || m_aborted)
            return false;
        m_streamed += bytes;
        ++m_writes;
        if (!reads)
            m_pending += bytes.size();
        return true;
    }

    qint64 pendingBytes() const override { return m_pending; }
    void abort() override { m_aborted = true; }

    /// The client reads what waits for it.
    void drain() { m_pending = 0; }

    QString header(const QString &name) const { return m_headers.value(name.toLower()); }
    int status() const { return m_status; }
    const QByteArray &body() const { return m_body; }
    int ends() const { return m_ends; }
    bool isStreaming() const { return m_streaming; }
    bool isAborted() const { return m_aborted; }
    const QByteArray &streamed() const { return m_streamed; }
    int writes() const { return m_writes; }
    void clearStreamed() { m_streamed.clear(); }

    bool reads = true;
    bool gone = false; ///< the connection is closed

private:
    QMap<QString, QString> m_headers;
    QByteArray m_body;
    QByteArray m_streamed;
    qint64 m_pending = 0;
    int m_status = 0;
    int m_ends = 0;
    int m_writes = 0;
    bool m_streaming = false;
    bool m_aborted = false;
};

} // namespace support
