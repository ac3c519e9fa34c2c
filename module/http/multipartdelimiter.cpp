#include "http/multipartdelimiter.h"

#include <algorithm>
#include <cstring>

namespace {

/// How much of the stem is compared where the anchor byte is found. Bounded, so that a body full of
/// almost-delimiters costs no more per byte however long the delimiter is.
constexpr qsizetype comparedLength = 72; // two dashes and the longest boundary that is allowed

constexpr qsizetype sampleCount = 64;
constexpr qsizetype sampleLength = 64;

std::size_t indexOf(char byte)
{
    return static_cast<unsigned char>(byte);
}

} // namespace

MultipartDelimiter::MultipartDelimiter(const QByteArray &delimiter, const QByteArray &body)
    : m_delimiter(delimiter.constData())
    , m_length(delimiter.size())
    , m_stemLength(m_length > 2 ? m_length - 2 : m_length)
    , m_body(body.constData())
    , m_size(body.size())
{
    // The last byte completes a match and so never leaves the matcher inside one.
    for (qsizetype i = 0; i < m_length - 1; ++i)
        m_inner[indexOf(m_delimiter[i])] = true;
    chooseAnchor();
}

/// The stem's rarest byte in a sample of the body: bodies full of dashes or line ends are then
/// searched as fast as any.
void MultipartDelimiter::chooseAnchor()
{
    std::array<int, 256> counts{};
    const qsizetype stride = std::max(sampleLength, m_size / sampleCount);
    for (qsizetype start = 0; start < m_size; start += stride) {
        const qsizetype end = std::min(start + sampleLength, m_size);
        for (qsizetype i = start; i < end; ++i)
            ++counts[indexOf(m_body[i])];
    }
    for (qsizetype i = 1; i < m_stemLength; ++i) {
        if (counts[indexOf(m_delimiter[i])] < counts[indexOf(m_delimiter[m_anchor])])
            m_anchor = i;
    }
}

MultipartDelimiter::Match MultipartDelimiter::findFrom(qsizetype from) const
{
    qsizetype matcher = from; // the matcher comes here with its index at the start
    qsizetype cursor = from;  // no delimiter that is found begins between the matcher and here
    while (cursor + m_stemLength <= m_size) {
        const qsizetype searchFrom = cursor + m_anchor;
        const void *hit = std::memchr(m_body + searchFrom, m_delimiter[m_anchor],
                                      static_cast<std::size_t>(m_size - searchFrom));
        if (!hit)
            break;
        const qsizetype begin = static_cast<const char *>(hit) - m_body - m_anchor;
        cursor = begin + 1;
        if (!mayBeginAt(begin))
            continue;

        // Whether the matcher notices depends on what it is in the middle of when it gets here.
        matcher = stateKnownBefore(begin, matcher);
        while (matcher <= begin) {
            const Attempt attempt = attemptAt(matcher);
            if (attempt.match.found)
                return attempt.match;
            matcher = attempt.next;
        }
        cursor = matcher;
    }
    return notFound();
}

bool MultipartDelimiter::mayBeginAt(qsizetype position) const
{
    if (position + m_stemLength > m_size)
        return false;
    const qsizetype length = std::min(m_stemLength, comparedLength);
    return std::memcmp(m_body + position, m_delimiter, static_cast<std::size_t>(length)) == 0;
}

/// The matcher's index is at the start behind every byte that is not inside the delimiter, so it is
/// enough to follow it from there. Each byte walked over here is followed once and never again.
qsizetype MultipartDelimiter::stateKnownBefore(qsizetype position, qsizetype floor) const
{
    while (position > floor && m_inner[indexOf(m_body[position - 1])])
        --position;
    return position;
}

MultipartDelimiter::Attempt MultipartDelimiter::attemptAt(qsizetype position) const
{
    qsizetype index = 0;
    while (index < m_length && position + index < m_size &&
           m_body[position + index] == m_delimiter[index])
        ++index;
    const qsizetype stop = position + index;
    if (index == m_length)
        return {{true, stop, stop}, stop};
    const bool closing = index > 0 && m_length - index == 2 && stop + 1 < m_size &&
                         m_body[stop] == '-' && m_body[stop + 1] == '-';
    if (closing)
        return {{true, stop + 1, stop + 2}, stop + 2};
    return {notFound(), stop + 1};
}
