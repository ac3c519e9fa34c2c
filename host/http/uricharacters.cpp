#include "http/uricharacters.h"

#include <cstddef>

namespace host {

namespace {

bool isDigit(char c)
{
    return c >= '0' && c <= '9';
}

bool isHexDigit(char c)
{
    return isDigit(c) || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F');
}

bool isLetter(char c)
{
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

bool isUnreservedOrSubDelimiter(char c)
{
    return isLetter(c) || isDigit(c) ||
           std::string_view("-._~!$&'()*+,;=").find(c) != std::string_view::npos;
}

// Every "%" stands before two hexadecimal digits; every other character is allowed by `extra` or is
// unreserved or a sub-delimiter.
bool consistsOf(std::string_view text, std::string_view extra)
{
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '%') {
            if (i + 2 >= text.size() || !isHexDigit(text[i + 1]) || !isHexDigit(text[i + 2]))
                return false;
            i += 2;
        } else if (!isUnreservedOrSubDelimiter(text[i]) &&
                   extra.find(text[i]) == std::string_view::npos) {
            return false;
        }
    }
    return true;
}

bool isIpLiteral(std::string_view text)
{
    if (text.size() < 4 || text.front() != '[' || text.back() != ']')
        return false;
    const std::string_view inner = text.substr(1, text.size() - 2);
    return inner.find('%') == std::string_view::npos && consistsOf(inner, ":") &&
           inner.find(':') != std::string_view::npos;
}

} // namespace

bool isPathAndQuery(std::string_view text)
{
    return consistsOf(text, ":@/?");
}

std::string_view hostOf(std::string_view authority)
{
    const std::size_t bracket = authority.rfind(']');
    const std::size_t colon = authority.rfind(':');
    if (colon == std::string_view::npos || (bracket != std::string_view::npos && colon < bracket)) {
        return authority;
    }
    return authority.substr(0, colon);
}

bool isAuthority(std::string_view text)
{
    const std::string_view name = hostOf(text);
    for (const char c : text.substr(name.size())) {
        if (c != ':' && !isDigit(c))
            return false;
    }
    if (name.empty() || text.size() - name.size() > 6)
        return false;
    return name.front() == '[' ? isIpLiteral(name) : consistsOf(name, "");
}

} // namespace host
