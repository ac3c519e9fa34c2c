#include "http/headscanner.h"

#include <cstring>

namespace host {

HeadScanner::Result HeadScanner::scan(const char *data, std::size_t size,
                                      const ServerLimits &limits)
{
    while (m_scanned < size) {
        const auto *lineFeed =
            static_cast<const char *>(std::memchr(data + m_scanned, '\n', size - m_scanned));
        if (!lineFeed) {
            m_scanned = size;
            break;
        }
        const auto end = std::size_t(lineFeed - data);
        if (end == m_lineStart || data[end - 1] != '\r')
            return BadLineEnd;
        const Result length = checkLength(end - 1, limits);
        if (length != Incomplete)
            return length;
        if (m_fieldsStart != 0 && (data[m_lineStart] == ' ' || data[m_lineStart] == '\t'))
            return FoldedField;
        const bool isEmpty = end - 1 == m_lineStart;
        m_scanned = end + 1;
        m_lineStart = end + 1;
        if (isEmpty)
            return Complete;
        if (m_fieldsStart == 0)
            m_fieldsStart = m_lineStart;
    }
    // A CR that waits for its LF belongs to the line end already.
    const bool ends = size > m_lineStart && data[size - 1] == '\r';
    return checkLength(ends ? size - 1 : size, limits);
}

HeadScanner::Result HeadScanner::checkLength(std::size_t end, const ServerLimits &limits) const
{
    if (m_fieldsStart == 0)
        return end > std::size_t(limits.requestLine) ? RequestLineTooLong : Incomplete;
    return end - m_fieldsStart > std::size_t(limits.headerSection) ? HeaderSectionTooLong
                                                                   : Incomplete;
}

} // namespace host
