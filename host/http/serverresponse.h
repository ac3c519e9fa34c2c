#pragma once

#include "http/responsehead.h"
#include "http/streamingresponse.h"

#include <QtCore/QByteArray>
#include <QtCore/QVector>

namespace host {

class ServerResponse;

/// Where a response's bytes go: the connection it answers on.
class ResponseSink
{
public:
    virtual void sendAnswer(const ServerResponse &response, const QByteArray &body) = 0;
    virtual void startStream(const ServerResponse &response) = 0;
    virtual void sendStream(const QByteArray &bytes) = 0;
    virtual qint64 unsentBytes() const = 0;
    virtual void cutOff() = 0;

protected:
    ResponseSink() = default;
    ResponseSink(const ResponseSink &) = default;
    ResponseSink &operator=(const ResponseSink &) = default;
    ~ResponseSink() = default;
};

/// The answer to one request. Takes the first `writeHead` and the first `end`, and ignores the
/// rest, as the interface promises. Shared between the connection and the controller; `detach`
/// parts it from a connection that is done with it.
class ServerResponse final : public StreamingResponse
{
public:
    explicit ServerResponse(ResponseSink *sink)
        : m_sink(sink)
    {
    }

    void setHeader(const QString &name, const QString &value) override;
    void writeHead(int status) override;
    void end(const QByteArray &body) override;

    void beginStream(int status) override;
    bool writeStream(const QByteArray &bytes) override;
    qint64 pendingBytes() const override;
    void abort() override;

    /// Answers 500 for a controller that threw, unless something went out already.
    void fail();

    void detach() { m_sink = nullptr; }
    bool isStream() const { return m_state == Streaming; }
    int status() const { return m_status; }
    const QVector<ResponseField> &fields() const { return m_fields; }

private:
    enum State { Open, HeadWritten, Streaming, Ended };

    bool isLate(const char *call) const;

    ResponseSink *m_sink;
    QVector<ResponseField> m_fields;
    int m_status = 200;
    State m_state = Open;
};

} // namespace host
