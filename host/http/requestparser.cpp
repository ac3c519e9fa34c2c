#include "http/requestparser.h"

#include "http/bodyframing.h"
#include "http/uricharacters.h"

#include <boost/beast/http/error.hpp>
#include <boost/beast/http/rfc7230.hpp>

namespace host {

namespace beast = boost::beast;
using beast::http::field;
using beast::http::verb;

namespace {

// What a chunked body may carry beside its bytes; nobody here reads chunk extensions.
constexpr std::size_t maxExtensionBytes = 16ULL * 1024;

std::string_view view(boost::beast::string_view text)
{
    return {text.data(), text.size()};
}

RequestHead::Method toMethod(verb method)
{
    switch (method) {
    case verb::delete_:
        return RequestHead::Method::Delete;
    case verb::get:
        return RequestHead::Method::Get;
    case verb::head:
        return RequestHead::Method::Head;
    case verb::post:
        return RequestHead::Method::Post;
    case verb::put:
        return RequestHead::Method::Put;
    case verb::connect:
        return RequestHead::Method::Connect;
    case verb::options:
        return RequestHead::Method::Options;
    case verb::trace:
        return RequestHead::Method::Trace;
    case verb::patch:
        return RequestHead::Method::Patch;
    default:
        return RequestHead::Method::Unknown;
    }
}

// Whether the request line is one, but for a version that is not spoken here.
bool namesAnotherVersion(const QByteArray &head)
{
    const QByteArray line = head.left(head.indexOf("\r\n"));
    const QByteArray version = line.mid(line.lastIndexOf(' ') + 1);
    const auto isDigit = [](char c) { return c >= '0' && c <= '9'; };
    return line.count(' ') == 2 && version.size() == 8 && version.startsWith("HTTP/") &&
           isDigit(version.at(5)) && version.at(6) == '.' && isDigit(version.at(7));
}

} // namespace

RequestParser::RequestParser(qint64 bodyLimit)
{
    body_limit(std::uint64_t(bodyLimit));
    header_limit(64 * 1024); // the scanner holds the head to less
}

void RequestParser::refuse(error_code &ec, int status, const char *reason)
{
    m_refusal = {status, reason};
    ec = beast::http::error::bad_value; // stops the parser; the refusal says why
}

Refusal RequestParser::parseHead(const QByteArray &bytes, RequestHead *head)
{
    m_head = head;
    head->bytes = bytes;
    m_end = bytes.constData() + bytes.size();
    error_code ec;
    put(boost::asio::const_buffer(bytes.constData(), std::size_t(bytes.size())), ec);
    m_head = nullptr;
    if (m_refusal)
        return m_refusal;
    if (ec == beast::http::error::bad_version && namesAnotherVersion(bytes))
        return {505, "Only HTTP/1.0 and HTTP/1.1 are spoken here."};
    if (ec == beast::http::error::bad_content_length && hasLengthBeyond64Bits(bytes))
        return refusalFor(beast::http::error::body_limit);
    if (ec)
        return refusalFor(ec);
    head->keepAlive = Base::keep_alive() && !m_close;
    return {};
}

Refusal RequestParser::parseChunked(const char *data, std::size_t size, QByteArray *body,
                                    std::size_t *used, bool *complete)
{
    // At least "0", CR LF, CR LF is still to come whenever the parser waits for a chunk's size,
    // and it must not be shown less than that once it has seen the last size line.
    constexpr std::size_t shortestRest = 5;

    m_body = body;
    m_end = data + size;
    *used = 0;
    while (!is_done() && size - *used >= shortestRest) {
        error_code ec;
        *used += put(boost::asio::const_buffer(data + *used, size - *used), ec);
        if (m_refusal)
            return m_refusal;
        if (ec == beast::http::error::need_more)
            break;
        if (ec == beast::http::error::bad_chunk &&
            isChunkSizeBeyond64Bits({data + *used, size - *used}, body->isEmpty()))
            return refusalFor(beast::http::error::body_limit);
        if (ec)
            return refusalFor(ec);
    }
    *complete = is_done();
    return {};
}

Refusal RequestParser::refusalFor(error_code ec) const
{
    using beast::http::error;
    if (ec == error::body_limit)
        return {413, "The request body is too large."};
    if (ec == error::bad_method || ec == error::bad_target)
        return {400, "The request line is malformed."};
    if (ec == error::bad_content_length || ec == error::multiple_content_length)
        return {400, "The Content-Length is malformed or in doubt."};
    if (ec == error::bad_transfer_encoding)
        return {400, "The Transfer-Encoding is malformed or in doubt."};
    if (ec == error::bad_chunk || ec == error::bad_chunk_extension)
        return {400, "The chunked body is malformed."};
    return {400, "The request head is malformed."};
}

void RequestParser::on_request_impl(verb method, string_view, string_view target, int version,
                                    error_code &ec)
{
    m_head->method = toMethod(method);
    m_head->http10 = version < 11;
    if (m_head->method == RequestHead::Method::Unknown)
        return refuse(ec, 501, "The request method is not supported.");
    readTarget(target, ec);
}

void RequestParser::readTarget(string_view target, error_code &ec)
{
    std::string_view text = view(target);
    const bool isConnect = m_head->method == RequestHead::Method::Connect;
    if (isConnect) {
        if (!isAuthority(text) || hostOf(text).size() == text.size())
            return refuse(ec, 400, "The request target is malformed.");
    } else if (text == "*") {
        if (m_head->method != RequestHead::Method::Options)
            return refuse(ec, 400, "The request target is malformed.");
    } else if (text.front() != '/') {
        const std::size_t scheme = text.find("://");
        if (scheme == std::string_view::npos)
            return refuse(ec, 400, "The request target is malformed.");
        if (!equalsIgnoringCase(text.substr(0, scheme), "http"))
            return refuse(ec, 421, "Only http is served here.");
        text.remove_prefix(scheme + 3);
        const std::string_view authority = text.substr(0, text.find_first_of("/?"));
        if (!isAuthority(authority))
            return refuse(ec, 400, "The request target is malformed.");
        m_head->authority = span({authority.data(), authority.size()});
        m_absoluteTarget = true;
        text.remove_prefix(authority.size());
    }
    if (!isConnect && !isPathAndQuery(text))
        return refuse(ec, 400, "The request target holds a character that no URI may hold.");
    m_head->target = span({text.data(), text.size()});
}

void RequestParser::on_field_impl(field name, string_view nameText, string_view value,
                                  error_code &ec)
{
    // Beast joins the lines of a folded field in a buffer of its own, or skips a fold before the
    // value: either way the value does not follow its name on one line.
    const char *afterName = nameText.data() + nameText.size();
    const bool inPlace = value.data() >= afterName && value.data() <= m_end;
    if (!inPlace || view({afterName, std::size_t(value.data() - afterName)}).find('\r') !=
                        std::string_view::npos) {
        return refuse(ec, 400, "A folded header field is not accepted.");
    }
    if (!m_head)
        return; // a trailer: nobody here reads those
    m_head->fields.push_back({span(nameText), span(value)});
    switch (name) {
    case field::host:
        ++m_hosts;
        m_host = span(value);
        break;
    case field::content_length:
        readContentLength(value, ec);
        break;
    case field::transfer_encoding:
        if (m_hasTransferCoding)
            m_transferCoding += ',';
        m_hasTransferCoding = true;
        m_transferCoding += QByteArray(value.data(), int(value.size())).toLower();
        break;
    case field::connection:
        m_close = m_close || beast::http::token_list(value).exists("close");
        break;
    case field::expect:
        if (equalsIgnoringCase(view(value), "100-continue"))
            m_head->expectContinue = !m_head->http10;
        else if (!m_head->http10)
            refuse(ec, 417, "Only 100-continue can be expected.");
        break;
    default:
        break;
    }
}

void RequestParser::readContentLength(string_view value, error_code &ec)
{
    // Beast takes a list of equal numbers; one field with one number is what leaves no doubt.
    const bool digits = view(value).find_first_not_of("0123456789") == std::string_view::npos;
    if (++m_contentLengths > 1 || !digits)
        return refuse(ec, 400, "The Content-Length is malformed or in doubt.");
    bool ok = false;
    m_head->contentLength = QByteArray(value.data(), int(value.size())).toLongLong(&ok);
    if (!ok)
        refuse(ec, 413, "The request body is too large.");
}

void RequestParser::on_header_impl(error_code &ec)
{
    checkFraming(ec);
    if (!ec)
        checkHost(ec);
}

void RequestParser::checkFraming(error_code &ec)
{
    if (!m_hasTransferCoding)
        return;
    if (m_contentLengths > 0)
        return refuse(ec, 400, "Content-Length and Transfer-Encoding exclude each other.");
    if (m_head->http10)
        return refuse(ec, 400, "HTTP/1.0 has no transfer codings.");
    if (m_transferCoding != "chunked") {
        const Refusal refusal = transferCodingRefusal(m_transferCoding);
        return refuse(ec, refusal.status, refusal.reason.constData());
    }
    m_head->chunked = true;
}

void RequestParser::checkHost(error_code &ec)
{
    if (m_hosts != 1)
        return refuse(ec, 400, "A request needs one Host header field.");
    if (!isAuthority(m_head->text(m_host)))
        return refuse(ec, 400, "The Host header field is malformed.");
    if (!m_absoluteTarget)
        m_head->authority = m_host;
}

std::size_t RequestParser::on_body_impl(string_view body, error_code &)
{
    return body.size(); // a body with a Content-Length is read without the parser
}

void RequestParser::on_chunk_header_impl(std::uint64_t, string_view extensions, error_code &ec)
{
    m_extensionBytes += extensions.size();
    for (const char c : extensions) {
        if ((static_cast<unsigned char>(c) < ' ' && c != '\t') || c == '\x7f')
            return refuse(ec, 400, "The chunked body is malformed.");
    }
    if (m_extensionBytes > maxExtensionBytes)
        refuse(ec, 400, "The chunked body carries too many extensions.");
}

std::size_t RequestParser::on_chunk_body_impl(std::uint64_t, string_view body, error_code &)
{
    m_body->append(body.data(), int(body.size()));
    return body.size();
}

Span RequestParser::span(string_view text) const
{
    return {quint16(text.data() - m_head->bytes.constData()), quint16(text.size())};
}

} // namespace host
