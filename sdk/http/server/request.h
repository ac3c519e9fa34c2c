#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QString>
#include <QtCore/QUrl>

namespace http {
namespace server {

/// One HTTP request as the host received it. Made by the host, complete (body included) before a
/// strategy sees it, and unchanged from then on. Lives as long as somebody holds its shared
/// pointer.
class Request
{
public:
    /// The numbers are part of the interface. Anything that is not listed is 9 or above.
    enum HttpMethod : int {
        Delete = 0,
        Get = 1,
        Head = 2,
        Post = 3,
        Put = 4,
        Connect = 5,
        Options = 6,
        Trace = 7,
        Patch = 8,
        Unknown = 9
    };

    virtual ~Request() = default;

    virtual HttpMethod method() const = 0;

    /// The request target as a relative URL: path and query, percent-encoded as it was sent; no
    /// scheme and no host.
    virtual const QUrl &url() const = 0;

    /// The value of a header field, looked up without regard to case; repeated fields are joined
    /// with ", ". Empty when absent.
    virtual QString header(const QString &name) const = 0;

    /// The whole body, decoded from its transfer coding. Empty when there is none.
    virtual const QByteArray &body() const = 0;

protected:
    Request() = default;
    Request(const Request &) = default;
    Request &operator=(const Request &) = default;
};

} // namespace server
} // namespace http
