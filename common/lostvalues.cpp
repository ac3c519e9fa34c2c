#include "common/lostvalues.h"

#include "common/repeatedkeys.h"

#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>

#include <algorithm>
#include <cstring>
#include <utility>
#include <vector>

namespace common {
namespace {

struct Range
{
    int begin;
    int end;
};

/// Reads a JSON text by the rules of Qt's parser, up to where that gives up, and notes what it
/// drops. Stricter rules would do no harm, but leave something lost.
class Reader
{
public:
    explicit Reader(const QByteArray &text)
        : m_text(text)
        , m_begin(text.constData())
        , m_end(m_begin + text.size())
        , m_position(m_begin)
    {
        constexpr int MarkLength = 3;
        if (text.size() > MarkLength && text.startsWith("\xef\xbb\xbf"))
            m_position += MarkLength;
    }

    std::vector<Range> lostValues()
    {
        const char token = nextToken();
        if (token == '{')
            passObject();
        else if (token == '[')
            passArray();
        return std::move(m_lost);
    }

private:
    static constexpr int Deepest = 1024;

    bool passObject()
    {
        if (++m_depth > Deepest)
            return false;
        const int first = m_members.size();
        char token = nextToken();
        while (token == '"') {
            if (!passMember())
                return false;
            token = nextToken();
            if (token != ',')
                break;
            token = nextToken();
            if (token == '}')
                return false;
        }
        if (token != '}')
            return false;
        --m_depth;
        if (mayLoseValues(m_text, m_members, first))
            noteLostValues(first);
        m_members.resize(first);
        return true;
    }

    bool passMember()
    {
        JsonMember member;
        member.key = offset();
        if (!passText(&member.hasEscapes))
            return false;
        member.keyLength = offset() - 1 - member.key;
        if (nextToken() != ':' || !passBlanks())
            return false;
        member.value = offset();
        member.holdsOthers = *m_position == '{' || *m_position == '[';
        if (!passValue())
            return false;
        member.valueEnd = offset();
        m_members.append(member);
        return true;
    }

    bool passArray()
    {
        if (++m_depth > Deepest || !passBlanks())
            return false;
        char token = ',';
        if (*m_position == ']')
            token = nextToken();
        while (token == ',') {
            if (!passBlanks() || !passValue())
                return false;
            token = nextToken();
        }
        --m_depth;
        return token == ']';
    }

    bool passValue()
    {
        switch (*m_position++) {
        case '{':
            return passObject();
        case '[':
            return passArray();
        case '"': {
            bool hasEscapes = false;
            return passText(&hasEscapes);
        }
        case 'n':
            return passWord("ull");
        case 't':
            return passWord("rue");
        case 'f':
            return passWord("alse");
        default:
            --m_position;
            return passNumber();
        }
    }

    /// The rest of a word. It cannot be the end of the text.
    bool passWord(const char *rest)
    {
        const size_t length = std::strlen(rest);
        if (m_end - m_position <= static_cast<qsizetype>(length) ||
            std::memcmp(m_position, rest, length) != 0)
            return false;
        m_position += length;
        return true;
    }

    bool passNumber()
    {
        const char *const begin = m_position;
        pass('-');
        if (!pass('0'))
            passDigits();
        bool isWhole = !pass('.');
        if (!isWhole)
            passDigits();
        if (pass('e') || pass('E')) {
            isWhole = false;
            if (!pass('-'))
                pass('+');
            passDigits();
        }
        if (m_position == m_end)
            return false;
        const auto number = QByteArray::fromRawData(begin, static_cast<int>(m_position - begin));
        bool isNumber = false;
        if (isWhole)
            number.toLongLong(&isNumber);
        if (!isNumber)
            number.toDouble(&isNumber);
        return isNumber;
    }

    bool pass(char c)
    {
        if (m_position == m_end || *m_position != c)
            return false;
        ++m_position;
        return true;
    }

    void passDigits()
    {
        m_position =
            std::find_if_not(m_position, m_end, [](char c) { return c >= '0' && c <= '9'; });
    }

    /// What stands between quotation marks, and the second one. It cannot be the end of the text.
    bool passText(bool *hasEscapes)
    {
        const char *const begin = m_position;
        bool isAscii = true;
        while (m_position < m_end && *m_position != '"') {
            isAscii = isAscii && (*m_position & 0x80) == 0;
            const bool isEscape = *m_position == '\\';
            *hasEscapes = *hasEscapes || isEscape;
            m_position += isEscape && m_end - m_position > 1 ? 2 : 1;
        }
        if (m_end - m_position < 2)
            return false;
        ++m_position;
        return (isAscii && !*hasEscapes) || isText(begin - 1, m_position);
    }

    /// Asks the parser: it knows best what UTF-8 and what escapes it takes.
    static bool isText(const char *begin, const char *end)
    {
        QJsonParseError error{};
        QJsonDocument::fromJson(
            '[' + QByteArray::fromRawData(begin, static_cast<int>(end - begin)) + ']', &error);
        return error.error == QJsonParseError::NoError;
    }

    bool passBlanks()
    {
        while (m_position < m_end && (*m_position == ' ' || *m_position == '\t' ||
                                      *m_position == '\n' || *m_position == '\r'))
            ++m_position;
        return m_position < m_end;
    }

    char nextToken() { return passBlanks() ? *m_position++ : '\0'; }

    int offset() const { return static_cast<int>(m_position - m_begin); }

    /// Which of several members of one name stays is nothing to rely on: of many it is for an
    /// unstable sort to say, by their names alone. So the parser is asked, with numbers for values.
    void noteLostValues(int first)
    {
        QByteArray names = "{";
        for (int i = first; i < m_members.size(); ++i) {
            const JsonMember &member = m_members.at(i);
            names += i == first ? "\"" : ",\"";
            names.append(m_begin + member.key, member.keyLength);
            names += "\":" + QByteArray::number(i - first);
        }
        const QJsonDocument asked = QJsonDocument::fromJson(names + '}');
        if (!asked.isObject())
            return;
        std::vector<bool> stays(static_cast<size_t>(m_members.size() - first));
        const QJsonObject object = asked.object();
        for (auto it = object.constBegin(); it != object.constEnd(); ++it)
            stays[static_cast<size_t>(it.value().toInt())] = true;
        for (int i = first; i < m_members.size(); ++i) {
            const JsonMember &member = m_members.at(i);
            if (member.holdsOthers && !stays[static_cast<size_t>(i - first)])
                m_lost.push_back({member.value, member.valueEnd});
        }
    }

    const QByteArray &m_text;
    const char *m_begin;
    const char *m_end;
    const char *m_position;
    int m_depth = 0;
    JsonMembers m_members;
    std::vector<Range> m_lost;
};

} // namespace

QByteArray withoutLostValues(const QByteArray &text)
{
    std::vector<Range> lost = Reader(text).lostValues();
    std::sort(lost.begin(), lost.end(),
              [](const Range &a, const Range &b) { return a.begin < b.begin; });
    QByteArray cleared = text;
    int clearedEnd = 0;
    for (const Range &range : lost) {
        if (range.begin < clearedEnd)
            continue; // lies in a value that is lost itself
        clearedEnd = range.end;
        char *const bytes = cleared.data();
        std::fill(bytes + range.begin, bytes + range.end, ' ');
        bytes[range.begin] = '0';
    }
    return cleared;
}

} // namespace common
