#include "common/repeatedkeys.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <vector>

namespace common {
namespace {

bool haveOneKey(const char *text, const JsonMember &a, const JsonMember &b)
{
    return a.keyLength == b.keyLength &&
           std::memcmp(text + a.key, text + b.key, static_cast<size_t>(a.keyLength)) == 0;
}

bool fewLoseValues(const char *text, const JsonMember *begin, const JsonMember *end)
{
    for (const JsonMember *member = begin; member != end; ++member) {
        if (!member->holdsOthers)
            continue;
        for (const JsonMember *other = begin; other != end; ++other) {
            if (other != member && haveOneKey(text, *member, *other))
                return true;
        }
    }
    return false;
}

bool manyLoseValues(const char *text, const JsonMember *begin, const JsonMember *end)
{
    std::vector<JsonMember> sorted(begin, end);
    std::sort(sorted.begin(), sorted.end(), [text](const JsonMember &a, const JsonMember &b) {
        if (a.keyLength != b.keyLength)
            return a.keyLength < b.keyLength;
        return std::memcmp(text + a.key, text + b.key, static_cast<size_t>(a.keyLength)) < 0;
    });
    const auto losing = [text](const JsonMember &a, const JsonMember &b) {
        return (a.holdsOthers || b.holdsOthers) && haveOneKey(text, a, b);
    };
    return std::adjacent_find(sorted.begin(), sorted.end(), losing) != sorted.end();
}

/// Goes through a text by its brackets, texts and colons. Where it is no JSON, the parser gives up,
/// and nothing behind that place matters.
class Scanner
{
public:
    explicit Scanner(const QByteArray &text)
        : m_text(text)
        , m_position(text.constData())
        , m_end(m_position + text.size())
        , m_mark(m_position)
    {
    }

    bool findsRepeatedKeys()
    {
        while (passOthers()) {
            switch (*m_position++) {
            case '"':
                passText();
                break;
            case ':':
                addMember();
                break;
            case '{':
            case '[':
                if (!enter(m_position[-1] == '{'))
                    return false;
                break;
            default:
                if (m_open.isEmpty())
                    return false;
                if (leave())
                    return true;
                break;
            }
        }
        return false;
    }

private:
    struct Open
    {
        int firstMember = 0;
        bool isObject = false;
        bool holdsOthers = false;
    };

    /// Goes on to what the cases above are about.
    bool passOthers()
    {
        while (m_position < m_end && !isOfInterest(*m_position))
            ++m_position;
        return m_position < m_end;
    }

    static bool isOfInterest(char c)
    {
        static constexpr auto table = [] {
            std::array<bool, 256> interesting{};
            for (const char of : {'"', ':', '{', '[', '}', ']'})
                interesting[static_cast<unsigned char>(of)] = true;
            return interesting;
        }();
        return table[static_cast<unsigned char>(c)];
    }

    /// The text that was passed last is a member's key.
    void addMember()
    {
        if (m_open.isEmpty() || !m_open.last().isObject)
            return;
        m_members.append(m_key);
    }

    bool enter(bool isObject)
    {
        constexpr int Deepest = 1024; // the parser gives up there
        if (m_open.size() >= Deepest)
            return false;
        if (!m_open.isEmpty() && m_open.last().isObject &&
            m_members.size() > m_open.last().firstMember) {
            m_open.last().holdsOthers = true;
            m_members.last().holdsOthers = true;
        }
        m_open.append({m_members.size(), isObject, false});
        return true;
    }

    bool leave()
    {
        const Open closed = m_open.last();
        m_open.removeLast();
        const bool loses =
            closed.holdsOthers && mayLoseValues(m_text, m_members, closed.firstMember);
        m_members.resize(closed.firstMember);
        return loses;
    }

    void passText()
    {
        const char *const begin = m_position;
        m_key.hasEscapes = false;
        while (!reachMark() && m_position < m_end) {
            m_key.hasEscapes = true;
            m_position = m_end - m_position > 2 ? m_position + 2 : m_end;
        }
        m_key.key = static_cast<int>(begin - m_text.constData());
        m_key.keyLength = static_cast<int>(m_position - begin);
        if (m_position < m_end)
            ++m_position;
    }

    /// Goes to the next quotation mark or backslash. True for a mark.
    bool reachMark()
    {
        // Most are near, and calls are dear for them.
        constexpr qsizetype Near = 16;
        const char *const soon = m_position + std::min<qsizetype>(Near, m_end - m_position);
        while (m_position < soon && *m_position != '"' && *m_position != '\\')
            ++m_position;
        if (m_position == soon) {
            if (m_mark < m_position)
                m_mark = find('"', m_end);
            m_position = find('\\', m_mark);
        }
        return m_position < m_end && *m_position == '"';
    }

    const char *find(char c, const char *end) const
    {
        const void *found = std::memchr(m_position, c, static_cast<size_t>(end - m_position));
        return found ? static_cast<const char *>(found) : end;
    }

    const QByteArray &m_text;
    const char *m_position;
    const char *m_end;
    const char *m_mark; ///< the next quotation mark, unless it was passed
    JsonMember m_key;
    JsonMembers m_members;
    QVarLengthArray<Open, 64> m_open;
};

/// A flat object or array, however long, loses nothing.
bool holdsOthers(const QByteArray &text)
{
    const auto isBracket = [](char c) { return c == '{' || c == '['; };
    const auto first = std::find_if(text.cbegin(), text.cend(), isBracket);
    if (first == text.cend())
        return false;
    const size_t rest = static_cast<size_t>(text.cend() - first - 1);
    return std::memchr(first + 1, '{', rest) || std::memchr(first + 1, '[', rest);
}

} // namespace

bool mayLoseValues(const QByteArray &text, const JsonMembers &members, int first)
{
    const char *const bytes = text.constData();
    const JsonMember *const begin = members.constBegin() + first;
    const JsonMember *const end = members.constEnd();
    if (end - begin < 2)
        return false;
    // Keys of unlike bytes can be one key: written with escapes, or alike up to a NUL byte.
    const bool unclear = std::any_of(begin, end, [bytes](const JsonMember &member) {
        return member.hasEscapes ||
               std::memchr(bytes + member.key, 0, static_cast<size_t>(member.keyLength));
    });
    constexpr qsizetype Few = 16;
    return unclear || (end - begin <= Few ? fewLoseValues(bytes, begin, end)
                                          : manyLoseValues(bytes, begin, end));
}

bool mayRepeatKeys(const QByteArray &text)
{
    return holdsOthers(text) && Scanner(text).findsRepeatedKeys();
}

} // namespace common
