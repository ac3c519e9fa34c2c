#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QString>

namespace http {
namespace server {

/// The answer to one request. A controller calls `setHeader` any number of times, `writeHead` once
/// and `end` once, at once or later from the event-loop thread.
///
/// The first `end` finishes the answer: a host ignores what is called afterwards, since some
/// controllers answer twice by contract. `end` may write to the socket before it returns. A
/// response outlives its connection: calls on it then have no effect.
class Response
{
public:
    virtual ~Response() = default;

    /// Sets one header field of the answer, before `writeHead`. Setting a name again replaces the
    /// value.
    virtual void setHeader(const QString &name, const QString &value) = 0;

    /// Fixes the status and the header fields set so far.
    virtual void writeHead(int status) = 0;

    /// Finishes the answer with its whole body.
    virtual void end(const QByteArray &body) = 0;

protected:
    Response() = default;
    Response(const Response &) = default;
    Response &operator=(const Response &) = default;
};

} // namespace server
} // namespace http
