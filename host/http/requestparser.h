#pragma once

#include "http/refusal.h"
#include "http/requesthead.h"

#include <boost/beast/http/basic_parser.hpp>

#include <QtCore/QByteArray>

namespace host {

/// Reads one request with Beast's parser and refuses what Beast lets through but HTTP/1.1 forbids
/// or leaves in doubt: folded fields, both or doubtful Content-Length and Transfer-Encoding,
/// another transfer coding than chunked, a missing, repeated or malformed Host, characters that no
/// URI holds. One object serves one request.
class RequestParser : private boost::beast::http::basic_parser<true>
{
public:
    /// `bodyLimit` in bytes, of the decoded body.
    explicit RequestParser(qint64 bodyLimit);
    ~RequestParser() override = default;

    /// Reads a whole head, as HeadScanner found it.
    Refusal parseHead(const QByteArray &bytes, RequestHead *head);

    /// Decodes what `data` holds of a chunked body and appends it to `body`. Sets how many bytes
    /// were used, and whether the body is complete.
    Refusal parseChunked(const char *data, std::size_t size, QByteArray *body, std::size_t *used,
                         bool *complete);

private:
    using Base = boost::beast::http::basic_parser<true>;
    using error_code = boost::beast::error_code;
    using string_view = boost::beast::string_view;

    void on_request_impl(boost::beast::http::verb verb, string_view name, string_view target,
                         int version, error_code &ec) override;
    void on_response_impl(int, string_view, int, error_code &) override {}
    void on_field_impl(boost::beast::http::field field, string_view name, string_view value,
                       error_code &ec) override;
    void on_header_impl(error_code &ec) override;
    void on_body_init_impl(const boost::optional<std::uint64_t> &, error_code &) override {}
    std::size_t on_body_impl(string_view body, error_code &ec) override;
    void on_chunk_header_impl(std::uint64_t size, string_view extensions, error_code &ec) override;
    std::size_t on_chunk_body_impl(std::uint64_t remain, string_view body, error_code &ec) override;
    void on_finish_impl(error_code &) override {}

    void refuse(error_code &ec, int status, const char *reason);
    Refusal refusalFor(error_code ec) const;
    void readTarget(string_view target, error_code &ec);
    void readContentLength(string_view value, error_code &ec);
    void checkFraming(error_code &ec);
    void checkHost(error_code &ec);
    Span span(string_view text) const;

    RequestHead *m_head = nullptr; ///< while the head is read
    QByteArray *m_body = nullptr;  ///< while a piece of a chunked body is read
    const char *m_end = nullptr;   ///< of the bytes being read
    Refusal m_refusal;
    QByteArray m_transferCoding;
    Span m_host;
    int m_hosts = 0;
    int m_contentLengths = 0;
    bool m_hasTransferCoding = false;
    bool m_absoluteTarget = false;
    bool m_close = false;
    std::size_t m_extensionBytes = 0;
};

} // namespace host
