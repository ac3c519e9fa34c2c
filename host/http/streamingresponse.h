#pragma once

#include <http/server/response.h>

#include <QtCore/QByteArray>
#include <QtCore/QtGlobal>

namespace host {

/// A response of kavo-host's own server. Beside the plain answer it can be a stream: a body of no
/// fixed length that goes out piece by piece. The host's own controllers reach it with
/// `std::dynamic_pointer_cast<StreamingResponse>`. Lives on the event-loop thread.
class StreamingResponse : public http::server::Response
{
public:
    /// Sends the head with the header fields set so far; the body follows through `writeStream`.
    /// Takes the place of `writeHead` and `end`.
    virtual void beginStream(int status) = 0;

    /// Sends `bytes`, or queues (shares, never copies) what the socket does not take at once.
    /// Returns false, and does nothing, when the connection is gone.
    virtual bool writeStream(const QByteArray &bytes) = 0;

    /// How much of what was written the socket has not taken yet.
    virtual qint64 pendingBytes() const = 0;

    /// Cuts the connection. The controller is destroyed soon afterwards, from the event loop.
    virtual void abort() = 0;
};

} // namespace host
