#include "http/bodyframing.h"

#include <QtCore/QList>

#include <algorithm>

namespace host {

namespace {

bool isNumber(const QByteArray &text)
{
    return !text.isEmpty() &&
           std::all_of(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; });
}

} // namespace

// An unknown coding before a final chunked one could be removed by somebody who knows it;
// everything else leaves in doubt where the body ends.
Refusal transferCodingRefusal(const QByteArray &codings)
{
    int chunked = 0;
    int unknown = 0;
    QByteArray last;
    for (const QByteArray &element : codings.split(',')) {
        last = element.trimmed();
        chunked += last == "chunked" ? 1 : 0;
        unknown += last != "chunked" && !last.isEmpty() ? 1 : 0;
    }
    if (chunked == 1 && unknown > 0 && last == "chunked")
        return {501, "Only the transfer coding chunked is supported."};
    return {400, "The Transfer-Encoding is malformed or in doubt."};
}

bool hasLengthBeyond64Bits(const QByteArray &head)
{
    int lengths = 0;
    bool isBeyond = false;
    for (const QByteArray &line : head.split('\n')) {
        const QByteArray name = line.left(line.indexOf(':')).toLower();
        const QByteArray value = line.mid(name.size() + 1).trimmed();
        if (name == "transfer-encoding" || (name == "content-length" && !isNumber(value)))
            return false;
        if (name != "content-length")
            continue;
        ++lengths;
        value.toULongLong(&isBeyond);
        isBeyond = !isBeyond;
    }
    return lengths == 1 && isBeyond;
}

bool isChunkSizeBeyond64Bits(std::string_view text, bool isFirst)
{
    constexpr std::size_t mostDigits = 16;
    constexpr std::string_view lineEnd = "\r\n";
    if (!isFirst) {
        if (text.substr(0, lineEnd.size()) != lineEnd)
            return false;
        text.remove_prefix(lineEnd.size());
    }
    text.remove_prefix(std::min(text.find_first_not_of('0'), text.size()));
    const std::size_t digits = text.find_first_not_of("0123456789abcdefABCDEF");
    return digits != std::string_view::npos && digits > mostDigits &&
           (text[digits] == ';' || text[digits] == '\r');
}

} // namespace host
