#include "http/requesthead.h"

#include <cstring>

namespace host {

namespace {

char lower(char c)
{
    return c >= 'A' && c <= 'Z' ? char(c + ('a' - 'A')) : c;
}

} // namespace

bool isTokenCharacter(char c)
{
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
           (c != '\0' && std::strchr("!#$%&'*+-.^_`|~", c));
}

bool equalsIgnoringCase(std::string_view a, std::string_view b)
{
    if (a.size() != b.size())
        return false;
    for (std::size_t i = 0; i < a.size(); ++i) {
        if (lower(a[i]) != lower(b[i]))
            return false;
    }
    return true;
}

QByteArray RequestHead::field(std::string_view name) const
{
    QByteArray joined;
    bool found = false;
    for (const FieldSpan &candidate : fields) {
        if (!equalsIgnoringCase(text(candidate.name), name))
            continue;
        if (found)
            joined += ", ";
        const std::string_view value = text(candidate.value);
        joined.append(value.data(), int(value.size()));
        found = true;
    }
    return joined;
}

bool RequestHead::hasField(std::string_view name) const
{
    for (const FieldSpan &candidate : fields) {
        if (equalsIgnoringCase(text(candidate.name), name))
            return true;
    }
    return false;
}

} // namespace host
