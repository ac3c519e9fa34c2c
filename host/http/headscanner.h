#pragma once

#include "http/limits.h"

#include <cstddef>

namespace host {

/// Finds the end of a request head in bytes that arrive piecemeal, reading each byte once, and
/// refuses early what cannot become one: a line that ends in a bare LF, a folded field, a request
/// line or header section beyond its limit.
class HeadScanner
{
public:
    enum Result {
        Incomplete,
        Complete, ///< `headSize` bytes are a head
        BadLineEnd,
        FoldedField,
        RequestLineTooLong,
        HeaderSectionTooLong
    };

    /// `data` is everything since the head's first byte, with what earlier calls have seen.
    Result scan(const char *data, std::size_t size, const ServerLimits &limits);

    std::size_t headSize() const { return m_lineStart; }

private:
    Result checkLength(std::size_t end, const ServerLimits &limits) const;

    std::size_t m_scanned = 0;     ///< bytes searched for a line end
    std::size_t m_lineStart = 0;   ///< start of the line that has not ended yet
    std::size_t m_fieldsStart = 0; ///< 0 while the request line has not ended
};

} // namespace host
