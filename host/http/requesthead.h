#pragma once

#include <http/server/request.h>

#include <QtCore/QByteArray>

#include <string_view>
#include <vector>

namespace host {

/// Where a piece of text lies in the bytes of a request head. A head is at most 24 KiB.
struct Span
{
    quint16 offset = 0;
    quint16 length = 0;
};

/// One header field: its name and its value without the blanks around it.
struct FieldSpan
{
    Span name;
    Span value;
};

/// The head of one request, checked: request line and header fields as they were sent, and what
/// they say about the message. Values are looked up in the bytes, nothing is copied.
struct RequestHead
{
    using Method = http::server::Request::HttpMethod;

    QByteArray bytes; ///< the head from the request line to the empty line
    std::vector<FieldSpan> fields;
    Span target;    ///< path and query in origin form, "*", or an authority (CONNECT)
    Span authority; ///< the host the request is meant for: Host's value, or the absolute target's
    Method method = Method::Unknown;
    qint64 contentLength = -1; ///< -1: none given
    bool http10 = false;
    bool chunked = false;
    bool keepAlive = false;
    bool expectContinue = false;

    std::string_view text(Span span) const
    {
        return {bytes.constData() + span.offset, span.length};
    }

    /// The values of all fields of that name (compared without regard to ASCII case), joined with
    /// ", ". Empty when there is none.
    QByteArray field(std::string_view name) const;
    bool hasField(std::string_view name) const;
    bool hasBody() const { return chunked || contentLength > 0; }
};

/// Whether a method or a field name may hold the character.
bool isTokenCharacter(char c);

/// Compares header field names and other ASCII tokens.
bool equalsIgnoringCase(std::string_view a, std::string_view b);

} // namespace host
