#include "http/multipartparser.h"

#include "common/largepages.h"
#include "http/multipartdelimiter.h"
#include "http/multipartname.h"

#include <QtCore/QLoggingCategory>
#include <cstring>

namespace {

Q_LOGGING_CATEGORY(multipartLog, "ch.brenlo.kavo-service.multipartfiles")

constexpr char headerTerminator[] = "\r\n\r\n";
constexpr qsizetype headerTerminatorLength = 4;

/// The position behind the next header terminator, or -1. A byte that breaks off a beginning is
/// not looked at again: behind a lone CR, a terminator is missed.
qsizetype contentBegin(const QByteArray &body, qsizetype from)
{
    const char *const bytes = body.constData();
    const qsizetype size = body.size();
    while (from < size) {
        if (bytes[from] != headerTerminator[0]) {
            const void *hit = std::memchr(bytes + from, headerTerminator[0],
                                          static_cast<std::size_t>(size - from));
            if (!hit)
                return -1;
            from = static_cast<const char *>(hit) - bytes;
        }
        qsizetype index = 1;
        while (index < headerTerminatorLength && from + index < size &&
               bytes[from + index] == headerTerminator[index])
            ++index;
        if (index == headerTerminatorLength)
            return from + index;
        from += index + 1;
    }
    return -1;
}

/// The bytes of a part without the delimiter behind it and the CR LF before that. How much is cut
/// looks only at whether a CR LF may follow the closing delimiter: right for clients that end
/// their bodies with one, a byte too much for the last part of the others.
QByteArray contentOf(const QByteArray &body, qsizetype begin,
                     const MultipartDelimiter::Match &delimiter, qsizetype delimiterLength)
{
    qsizetype size = delimiter.collectedEnd - begin;
    if (delimiter.found)
        size -= delimiterLength + (body.size() - delimiter.end == 2 ? 1 : 2);
    return size > 0 ? common::copyOfPart(body, static_cast<int>(begin), static_cast<int>(size))
                    : QByteArray();
}

} // namespace

MultipartParser::MultipartParser(const QString &delimiterText, const QByteArray &body)
    : m_delimiter(delimiterText.toLocal8Bit() + "\r\n")
    , m_body(body)
{
}

QMap<QString, QByteArray> MultipartParser::parse() const
{
    QMap<QString, QByteArray> files;
    const MultipartDelimiter delimiter(m_delimiter, m_body);
    MultipartName names(m_body);

    // The body is taken to begin with a delimiter line.
    qsizetype position = m_delimiter.size();
    while (position < m_body.size()) {
        qCDebug(multipartLog) << "Start header at" << position;
        const qsizetype begin = contentBegin(m_body, position);
        if (begin < 0)
            break;
        QString name = names.nameOfPart(position, begin - headerTerminatorLength);

        const MultipartDelimiter::Match match = delimiter.findFrom(begin);
        const QByteArray content = contentOf(m_body, begin, match, m_delimiter.size());
        position = match.end;

        if (name.isEmpty())
            name = QString::number(files.size());
        qCDebug(multipartLog) << name << "of size" << content.size();
        files.insert(name, content);
    }
    return files;
}
