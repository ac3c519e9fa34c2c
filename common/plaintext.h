#pragma once

#include <QtCore/QtGlobal>

#include <emmintrin.h>

namespace common {

/// What JSON texts hold as it is, in one byte: ASCII without control characters (delete is none of
/// them for JSON), quote and backslash.
inline bool isPlain(ushort unit)
{
    return unit >= 0x20 && unit < 0x80 && unit != '"' && unit != '\\';
}

/// The first UTF-16 unit that is not plain, or `end`. Most texts hold nothing else, so sixteen are
/// looked at in one step.
inline const ushort *endOfPlain(const ushort *begin, const ushort *end)
{
    constexpr int Block = 16;
    const __m128i lastControl = _mm_set1_epi8(0x1f);
    const __m128i quote = _mm_set1_epi8('"');
    const __m128i backslash = _mm_set1_epi8('\\');
    for (; end - begin >= Block; begin += Block) {
        const auto *const halves = reinterpret_cast<const __m128i *>(begin);
        // Units that do not fit into a byte become 0 or 0xff. As signed bytes, what is no ASCII is
        // below the control characters.
        const __m128i bytes =
            _mm_packus_epi16(_mm_loadu_si128(halves), _mm_loadu_si128(halves + 1));
        const __m128i escaped =
            _mm_or_si128(_mm_cmpeq_epi8(bytes, quote), _mm_cmpeq_epi8(bytes, backslash));
        const __m128i plain = _mm_andnot_si128(escaped, _mm_cmpgt_epi8(bytes, lastControl));
        if (_mm_movemask_epi8(plain) != 0xffff)
            break;
    }
    while (begin != end && isPlain(*begin))
        ++begin;
    return begin;
}

} // namespace common
