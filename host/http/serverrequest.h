#pragma once

#include "http/requesthead.h"

#include <http/server/request.h>

#include <QtCore/QByteArray>
#include <QtCore/QUrl>

#include <optional>

namespace host {

/// A request as controllers see it: a checked head, and the whole body. The URL is made when it is
/// first asked for.
class ServerRequest final : public http::server::Request
{
public:
    ServerRequest(RequestHead head, QByteArray body);

    HttpMethod method() const override { return m_head.method; }
    const QUrl &url() const override;
    QString header(const QString &name) const override;
    const QByteArray &body() const override { return m_body; }

    const RequestHead &head() const { return m_head; }

private:
    RequestHead m_head;
    QByteArray m_body;
    mutable std::optional<QUrl> m_url;
};

/// A path and query as a relative URL. A target that begins with "//" stays a path: it names no
/// host.
QUrl relativeUrl(std::string_view target);

} // namespace host
