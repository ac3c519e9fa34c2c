#include "strictreading.h"

#include <QtCore/QList>
#include <QtCore/QRegularExpression>

#include <algorithm>

namespace strict {

namespace {

const char lineEnd[] = "\r\n";

/// What the header fields of one request say about the message.
struct Framing
{
    QList<QByteArray> lengths;
    QList<QByteArray> codings;
    bool closes = false;
    bool keepsAlive = false;
};

bool holdsOnly(const QByteArray &text, bool (*isAllowed)(char))
{
    return std::all_of(text.begin(), text.end(), isAllowed);
}

bool isDigit(char c)
{
    return c >= '0' && c <= '9';
}

bool isTokenCharacter(char c)
{
    return isDigit(c) || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') ||
           (c != '\0' && QByteArray("!#$%&'*+-.^_`|~").contains(c));
}

bool isText(char c)
{
    return (static_cast<unsigned char>(c) >= ' ' && c != '\x7f') || c == '\t';
}

// One header or trailer field; false when it is none.
bool readField(const QByteArray &line, Framing *framing)
{
    const int colon = line.indexOf(':');
    const QByteArray name = line.left(colon).toLower();
    const QByteArray value = line.mid(colon + 1).trimmed();
    if (colon < 1 || !holdsOnly(name, isTokenCharacter) || !holdsOnly(line, isText))
        return false;
    if (name == "content-length")
        framing->lengths.append(value);
    if (name == "transfer-encoding")
        framing->codings.append(value.toLower());
    if (name == "connection") {
        for (const QByteArray &option : value.toLower().split(',')) {
            framing->closes = framing->closes || option.trimmed() == "close";
            framing->keepsAlive = framing->keepsAlive || option.trimmed() == "keep-alive";
        }
    }
    return true;
}

/// Walks through the bytes; every function is false at the first doubt, or at the end.
class Reader
{
public:
    explicit Reader(const QByteArray &bytes)
        : m_bytes(bytes)
    {
    }

    bool readRequest(Request *request, bool *isLast)
    {
        if (m_bytes.mid(m_at, 2) == lineEnd)
            m_at += 2; // the one empty line that a client may send too many
        Framing framing;
        QByteArray line;
        if (!readLine(&request->line) || request->line.count(' ') != 2)
            return false;
        while (readLine(&line) && !line.isEmpty()) {
            if (!readField(line, &framing))
                return false;
        }
        if (!m_isWhole || !readBody(framing, &request->body))
            return false;
        const bool isHttp10 = request->line.endsWith("HTTP/1.0");
        *isLast = framing.closes || (isHttp10 && !framing.keepsAlive);
        return !(isHttp10 && !framing.codings.isEmpty());
    }

private:
    bool readLine(QByteArray *line)
    {
        const int end = m_bytes.indexOf(lineEnd, m_at);
        *line = m_bytes.mid(m_at, end - m_at);
        m_isWhole = end >= 0 && holdsOnly(*line, isText);
        m_at = end + 2;
        return m_isWhole;
    }

    bool readBytes(qint64 count, QByteArray *bytes)
    {
        if (count > m_bytes.size() - m_at)
            return false;
        bytes->append(m_bytes.mid(m_at, int(count)));
        m_at += int(count);
        return true;
    }

    bool readBody(const Framing &framing, QByteArray *body)
    {
        if (framing.lengths.size() + framing.codings.size() > 1)
            return false;
        if (!framing.codings.isEmpty())
            return framing.codings.first() == "chunked" && readChunks(body);
        if (framing.lengths.isEmpty())
            return true;
        const QByteArray &length = framing.lengths.first();
        bool isNumber = false;
        const qint64 count = length.toLongLong(&isNumber);
        return isNumber && holdsOnly(length, isDigit) && readBytes(count, body);
    }

    bool readChunks(QByteArray *body)
    {
        // Blanks before an extension are bad style, but a server has to put up with them.
        static const QRegularExpression sizeLine(QStringLiteral("^([0-9A-Fa-f]+)([ \\t]*;.*)?$"));
        QByteArray line;
        for (;;) {
            if (!readLine(&line))
                return false;
            const auto match = sizeLine.match(QString::fromLatin1(line));
            bool isNumber = false;
            const qint64 size = match.captured(1).toLongLong(&isNumber, 16);
            if (!isNumber)
                return false;
            if (size == 0)
                break;
            QByteArray end;
            if (!readBytes(size, body) || !readBytes(2, &end) || end != lineEnd)
                return false;
        }
        Framing unused;
        while (readLine(&line) && !line.isEmpty()) {
            if (!readField(line, &unused))
                return false;
        }
        return m_isWhole;
    }

    const QByteArray m_bytes;
    int m_at = 0;
    bool m_isWhole = true; ///< the last line had its end, and nothing that no line may hold
};

} // namespace

QVector<Request> requestsIn(const QByteArray &bytes)
{
    QVector<Request> found;
    Reader reader(bytes);
    Request request;
    bool isLast = false;
    while (!isLast && reader.readRequest(&request, &isLast)) {
        found.append(request);
        request = {};
    }
    return found;
}

} // namespace strict
