#include "http/serverrequest.h"

#include <utility>

namespace host {

QUrl relativeUrl(std::string_view target)
{
    const QString text = QString::fromLatin1(target.data(), int(target.size()));
    if (!text.startsWith(QLatin1String("//")))
        return QUrl(text.startsWith(QLatin1Char('/')) ? text : QLatin1Char('/') + text);
    // QUrl would read the text as a host and a path; set apart, the path stays what it is.
    const int query = text.indexOf(QLatin1Char('?'));
    QUrl url;
    url.setPath(text.left(query), QUrl::TolerantMode);
    if (query >= 0)
        url.setQuery(text.mid(query + 1), QUrl::TolerantMode);
    return url;
}

ServerRequest::ServerRequest(RequestHead head, QByteArray body)
    : m_head(std::move(head))
    , m_body(std::move(body))
{
}

const QUrl &ServerRequest::url() const
{
    if (!m_url)
        m_url = relativeUrl(m_head.text(m_head.target));
    return *m_url;
}

QString ServerRequest::header(const QString &name) const
{
    const QByteArray ascii = name.toLatin1();
    const QByteArray value = m_head.field({ascii.constData(), std::size_t(ascii.size())});
    return QString::fromUtf8(value.constData(), value.size());
}

} // namespace host
