#include "http/accesspolicy.h"

#include "http/uricharacters.h"

namespace host {

namespace {

constexpr std::string_view loopbackNames[] = {"localhost", "127.0.0.1", "[::1]"};

// An origin without the port that its scheme implies, in lower case.
QByteArray normalised(QByteArray origin)
{
    origin = origin.toLower();
    if (origin.startsWith("http://") && origin.endsWith(":80"))
        origin.chop(3);
    else if (origin.startsWith("https://") && origin.endsWith(":443"))
        origin.chop(4);
    return origin;
}

bool isOwnOrigin(const RequestHead &head, const QByteArray &origin)
{
    const std::string_view authority = head.text(head.authority);
    return normalised(origin) ==
           normalised("http://" + QByteArray(authority.data(), int(authority.size())));
}

// Takes as long for a near miss as for a far one, so that a token cannot be guessed piece by piece.
bool equalsInConstantTime(const QByteArray &a, const QByteArray &b)
{
    int difference = a.size() ^ b.size();
    for (int i = 0; i < a.size(); ++i)
        difference |= a.at(i) ^ (b.isEmpty() ? 0 : b.at(i % b.size()));
    return difference == 0;
}

bool isHealthCheck(const RequestHead &head)
{
    const std::string_view target = head.text(head.target);
    return head.method == RequestHead::Method::Get &&
           target.substr(0, target.find('?')) == "/health";
}

} // namespace

Refusal AccessPolicy::check(const RequestHead &head) const
{
    if (!acceptsHost(head.text(head.authority))) {
        return {421, "This server does not answer to the name in the Host header field; "
                     "--allow-host adds a name."};
    }
    const QByteArray origin = head.field("Origin");
    if (head.hasField("Origin") && !isAllowedOrigin(origin) && !isOwnOrigin(head, origin)) {
        return {403, "Pages of this web origin may not call this server; "
                     "--allow-origin adds an origin."};
    }
    if (!token.isEmpty() && !isPreflight(head) && !isHealthCheck(head) && !acceptsToken(head))
        return {401, "A bearer token is needed."};
    return {};
}

bool AccessPolicy::isPreflight(const RequestHead &head)
{
    return head.method == RequestHead::Method::Options && head.hasField("Origin") &&
           head.hasField("Access-Control-Request-Method");
}

QByteArray AccessPolicy::corsHeaders(const RequestHead &head) const
{
    if (!head.hasField("Origin"))
        return {};
    const QByteArray origin = head.field("Origin");
    if (!isAllowedOrigin(origin))
        return {};
    return "Access-Control-Allow-Origin: " + origin +
           "\r\nAccess-Control-Expose-Headers: Content-Disposition, Content-Encoding, Retry-After"
           "\r\nVary: Origin\r\n";
}

QByteArray AccessPolicy::preflightHeaders(const RequestHead &head)
{
    QByteArray lines = "Access-Control-Allow-Methods: GET, HEAD, POST, PUT, DELETE\r\n"
                       "Access-Control-Max-Age: 600\r\n";
    const QByteArray asked = head.field("Access-Control-Request-Headers");
    if (!asked.isEmpty())
        lines += "Access-Control-Allow-Headers: " + asked + "\r\n";
    if (head.field("Access-Control-Request-Private-Network") == "true")
        lines += "Access-Control-Allow-Private-Network: true\r\n";
    return lines;
}

bool AccessPolicy::acceptsHost(std::string_view authority) const
{
    const std::string_view name = hostOf(authority);
    for (const std::string_view loopback : loopbackNames) {
        if (equalsIgnoringCase(name, loopback))
            return true;
    }
    const QString text = QString::fromLatin1(name.data(), int(name.size()));
    return hosts.contains(text, Qt::CaseInsensitive);
}

bool AccessPolicy::acceptsToken(const RequestHead &head) const
{
    constexpr int schemeLength = 7;
    const QByteArray value = head.field("Authorization");
    return equalsIgnoringCase({value.constData(), std::size_t(qMin(schemeLength, value.size()))},
                              "Bearer ") &&
           equalsInConstantTime(value.mid(schemeLength).trimmed(), token);
}

bool AccessPolicy::isAllowedOrigin(const QByteArray &origin) const
{
    for (const QString &allowed : origins) {
        if (normalised(origin) == normalised(allowed.toLatin1()))
            return true;
    }
    return false;
}

} // namespace host
