#include "support/multipartgenerator.h"

#include <algorithm>
#include <iterator>

namespace support {

int MultipartGenerator::below(int bound)
{
    // Not a distribution: those differ between standard libraries.
    return static_cast<int>(m_random() % static_cast<quint32>(bound));
}

QString MultipartGenerator::delimiterText()
{
    static const char *const texts[] = {"--b",      "--boundary", "------WebKitFormBoundaryAbC0",
                                        "--",       "-",          "a",
                                        "",         "--aba",      "abab",
                                        "--\"q\"",  "aa",         "\r",
                                        "--a\r\nb", "\r\n",       "----------------------------x1",
                                        "--a--"};
    switch (below(5)) {
    case 0:
        return QString::fromLatin1(randomBytes(1 + below(6), "-ab\r\n:"));
    case 1:
        return QStringLiteral("--") + QString::fromLatin1(randomBytes(20 + below(30), "-0123abc"));
    case 2:
        return QStringLiteral("--") + QChar(0xe4) + QChar(0) + QLatin1Char('z');
    default:
        return QLatin1String(texts[below(static_cast<int>(std::size(texts)))]);
    }
}

QByteArray MultipartGenerator::randomBytes(int count, const QByteArray &alphabet)
{
    QByteArray bytes;
    for (int i = 0; i < count; ++i)
        bytes += alphabet.at(below(alphabet.size()));
    return bytes;
}

QByteArray MultipartGenerator::anyBytes(int count)
{
    QByteArray bytes;
    for (int i = 0; i < count; ++i)
        bytes += static_cast<char>(below(256));
    return bytes;
}

QByteArray MultipartGenerator::fileName()
{
    switch (below(8)) {
    case 0:
        return QByteArray();
    case 1:
        return QByteArray("a\0b", 3);
    case 2:
        return QByteArray("\xc3\xa4\xff.pdf");
    case 3:
        return QByteArray("c:\\d.pdf");
    case 4:
        return QByteArray("x\"filename=y");
    case 5:
        return QByteArray("\"q");
    default:
        return QByteArray(1, static_cast<char>('a' + below(4)));
    }
}

QByteArray MultipartGenerator::headerLine()
{
    const QByteArray name = fileName();
    switch (below(12)) {
    case 0:
        return "Content-Disposition: form-data; name=\"field\"";
    case 1:
        return "Content-Disposition";
    case 2:
        return "content-disposition: x; filename=\"" + name + '"';
    case 3:
        return " \t X-Content-Disposition-2 : filename=" + name + " \t";
    case 4:
        return "Other: Content-Disposition: filename=" + name;
    case 5:
        return "Content-Type: application/pdf";
    case 6:
        return "Content-Disposition: form-data; filename=" + name + "; size=3";
    case 7:
        return "Content-DispositioContent-Disposition:filename=\"" + name;
    default:
        return "Content-Disposition: form-data; name=\"files\"; filename=\"" + name + '"';
    }
}

QByteArray MultipartGenerator::nearDelimiter(const QByteArray &text)
{
    QByteArray whole = text + "\r\n";
    switch (below(12)) {
    case 0:
        return whole;
    case 1:
        return "\r\n" + whole;
    case 2:
        return "\r\n" + text + "--";
    case 3:
        return "\r\n" + text + "--\r\n";
    case 4:
        return whole.left(below(whole.size() + 1));
    case 5:
        return whole.left(below(whole.size() + 1)) + whole;
    case 6:
        return whole.left(below(whole.size() + 1)) + text + "--";
    case 7:
        return text + '-';
    case 8:
        return text + '\r';
    case 9:
        return text + "\r-";
    case 10:
        return text + text + "-\r\n";
    default:
        return text.left(below(text.size() + 1)) + "--";
    }
}

QByteArray MultipartGenerator::heapPiece(const QByteArray &text)
{
    static const char *const ends[] = {
        "\r\n\r\n", "\r\r\n\r\n", "\r\n\r\r\n\r\n", "\r\n\r", "\n\r\n\r\n\r\n\r", "\r\n", "\n\n",
        "\r",       "\n",         "\r\n\n\r\n"};
    switch (below(8)) {
    case 0:
    case 1:
        return nearDelimiter(text);
    case 2:
    case 3:
        return ends[below(static_cast<int>(std::size(ends)))];
    case 4:
        return headerLine() + (below(4) ? "\r\n" : "\r\n\r\n");
    case 5:
        return randomBytes(below(9), "-\r\n:\" a");
    case 6:
        return QByteArray(below(20), '-');
    default:
        return anyBytes(below(12));
    }
}

QByteArray MultipartGenerator::content(const QByteArray &text)
{
    QByteArray bytes;
    const int pieces = below(6);
    for (int i = 0; i < pieces; ++i)
        bytes += below(3) ? anyBytes(below(40)) : heapPiece(text).replace(text + "\r\n", "#");
    return bytes;
}

MultipartCase MultipartGenerator::wellFormed()
{
    const QString delimiter = delimiterText();
    const QByteArray text = delimiter.toLocal8Bit();
    QByteArray body;
    const int parts = 1 + below(5);
    for (int part = 0; part < parts; ++part) {
        body += text + "\r\n";
        for (int line = below(4); line > 0; --line)
            body += headerLine() + "\r\n";
        body += "\r\n" + content(text) + "\r\n";
    }
    static const char *const closings[] = {"--\r\n", "--\r\n", "--", "--\r\nepilogue", "-", "\r\n"};
    body += text + closings[below(static_cast<int>(std::size(closings)))];
    return {delimiter, body};
}

void MultipartGenerator::damage(QByteArray &body)
{
    if (body.isEmpty())
        return;
    const int at = below(body.size());
    const int length = below(std::min(12, body.size() - at) + 1);
    switch (below(6)) {
    case 0:
        body[at] = randomBytes(1, "-\r\n:\"a").at(0);
        break;
    case 1:
        body.remove(at, length);
        break;
    case 2:
        body.insert(at, body.mid(below(body.size()), length));
        break;
    case 3:
        body.insert(at, randomBytes(1 + below(3), "-\r\n:\""));
        break;
    case 4:
        body.truncate(at);
        break;
    default:
        body[at] = static_cast<char>(below(256));
        break;
    }
}

MultipartCase MultipartGenerator::damaged()
{
    MultipartCase made = wellFormed();
    for (int times = 1 + below(6); times > 0; --times)
        damage(made.body);
    return made;
}

MultipartCase MultipartGenerator::heap()
{
    MultipartCase made{delimiterText(), QByteArray()};
    const QByteArray text = made.delimiterText.toLocal8Bit();
    if (below(4))
        made.body = text + "\r\n";
    if (below(2))
        made.body += headerLine() + "\r\n\r\n";
    for (int pieces = below(16); pieces > 0; --pieces)
        made.body += heapPiece(text);
    return made;
}

MultipartCase MultipartGenerator::largeHeap(int size)
{
    MultipartCase made{delimiterText(), QByteArray()};
    const QByteArray text = made.delimiterText.toLocal8Bit();
    made.body = text + "\r\n" + headerLine() + "\r\n\r\n";
    const bool binary = below(2);
    while (made.body.size() < size) {
        if (below(60) == 0)
            made.body += nearDelimiter(text);
        else if (below(40) == 0)
            made.body += headerLine() + "\r\n\r\n";
        else if (binary)
            made.body += anyBytes(200);
        else
            made.body += randomBytes(below(60), below(2) ? QByteArray("\r\n-") : text + "\r-");
    }
    return made;
}

} // namespace support
