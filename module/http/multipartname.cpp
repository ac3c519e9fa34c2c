#include "http/multipartname.h"

#include <QtCore/QByteArrayMatcher>
#include <QtCore/QList>
#include <QtCore/QStringList>
#include <cstring>

namespace {

/// The name in a Content-Disposition line; a line without a file name has an empty one. Only the
/// text up to a second colon is looked at.
QString nameInLine(const QByteArray &line)
{
    const QByteArray value = line.trimmed().split(':').value(1);
    // Not by way of QString::fromUtf8(value), which would end the name at a NUL byte.
    const QString text = QString::fromStdString(value.toStdString());
    QString name = text.split(QStringLiteral("filename=")).value(1);
    if (name.startsWith(QLatin1Char('"')))
        name.remove(0, 1);
    if (name.endsWith(QLatin1Char('"')))
        name.chop(1);
    return name;
}

} // namespace

MultipartName::MultipartName(const QByteArray &body)
    : m_body(body.constData())
{
}

QString MultipartName::nameOfPart(qsizetype partBegin, qsizetype headersEnd)
{
    // Mostly the part's own headers decide, and what is before them need not be looked at.
    const qsizetype headers = lineBegin(partBegin, m_read);
    if (!takeLastLine(headers, headersEnd))
        takeLastLine(m_read, headers);
    m_read = headersEnd;
    return m_name;
}

/// Takes the name of the last deciding line between two line ends; false when there is none.
bool MultipartName::takeLastLine(qsizetype begin, qsizetype end)
{
    static constexpr auto disposition = qMakeStaticByteArrayMatcher("Content-Disposition");
    qsizetype decidingLine = -1;
    while (begin < end) {
        const int offset = disposition.indexIn(m_body + begin, static_cast<int>(end - begin));
        if (offset < 0)
            break;
        const qsizetype found = begin + offset;
        const qsizetype line = lineBegin(found, begin);
        if (!std::memchr(m_body + line, ':', static_cast<std::size_t>(found - line)))
            decidingLine = line;
        begin = lineEnd(found, end) + 1;
    }
    if (decidingLine < 0)
        return false;
    const qsizetype length = lineEnd(decidingLine, end) - decidingLine;
    m_name = nameInLine(QByteArray::fromRawData(m_body + decidingLine, static_cast<int>(length)));
    return true;
}

qsizetype MultipartName::lineBegin(qsizetype position, qsizetype floor) const
{
    while (position > floor && m_body[position - 1] != '\n')
        --position;
    return position;
}

qsizetype MultipartName::lineEnd(qsizetype position, qsizetype limit) const
{
    const void *feed =
        std::memchr(m_body + position, '\n', static_cast<std::size_t>(limit - position));
    return feed ? static_cast<const char *>(feed) - m_body : limit;
}
