#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QByteArrayList>
#include <QtCore/QRandomGenerator>

namespace support {

/// JSON texts, mostly, whose objects have few names for many members. The same seed gives the same
/// texts everywhere.
class RandomJsonTexts
{
public:
    explicit RandomJsonTexts(quint32 seed)
        : m_random(seed)
    {
    }

    int below(int bound) { return m_random.bounded(bound); }

    QByteArray text()
    {
        constexpr int Depth = 5;
        const QByteArray begin = below(20) == 0 ? QByteArray("\xef\xbb\xbf") : blanks();
        return begin + (below(4) == 0 ? array(Depth) : object(Depth)) + blanks();
    }

    /// With a few bytes changed, taken out, put in or copied from elsewhere.
    QByteArray mutated(QByteArray text)
    {
        for (int i = 1 + below(3); i > 0 && !text.isEmpty(); --i) {
            const int at = below(text.size());
            switch (below(5)) {
            case 0:
                text[at] = char(below(256));
                break;
            case 1:
                text.remove(at, 1 + below(4));
                break;
            case 2:
                text.insert(at, oneOf("{}[],:\"\\01e.-nutfl \xc3\xa4\xff"));
                break;
            case 3:
                text.insert(at, text.mid(below(text.size()), below(20)));
                break;
            default:
                text.truncate(at + 1);
                break;
            }
        }
        return text;
    }

private:
    char oneOf(const QByteArray &bytes) { return bytes.at(below(bytes.size())); }

    QByteArray blanks()
    {
        return below(4) == 0 ? QByteArray(below(9), oneOf(" \t\r\n")) : QByteArray();
    }

    QByteArray key()
    {
        static const QByteArrayList keys{
            "a",
            "b",
            "",
            "aa",
            "\\u0061",
            "\\u0061a",
            "\\n",
            "\xc3\xa4",
            "\\u00e4",
            "\xef\xbf\xbd",
            "\\ufffd",
            "\xf0\x9f\x98\x80",
            "\\ud83d\\ude00",
            "\\ud83d",
            QByteArray("a\0b", 3),
            QByteArray("a\0c", 3),
            QByteArray("\0", 1),
            "\\u0000",
            "\\\"",
            "a key that is longer than sixteen bytes",
            "{\\\\[",
        };
        // Mostly plain ones: an object with a doubtful one always takes the long way.
        const int count = below(3) == 0 ? keys.size() : 4;
        return '"' + keys.at(below(count)) + '"';
    }

    QByteArray scalar()
    {
        static const QByteArrayList scalars{
            "0",           "-1.5e3",  "1.",       ".5",        "9007199254740993",
            "1e400",       "-",       "true",     "false",     "null",
            "nul",         "\"\"",    "\"x\"",    "\"\\u12\"", "\"\\x\"",
            "\"\\ud800\"", "\"{[:\"", "\"\xff\"", "\"\\\"}\"", "",
            "00",
        };
        // Those that are none end the parsing: rarely.
        return below(30) == 0 ? scalars.at(below(scalars.size())) : scalars.at(below(4));
    }

    QByteArray value(int depth)
    {
        const int kind = depth > 0 ? below(6) : 5;
        return kind < 2 ? object(depth - 1) : kind == 2 ? array(depth - 1) : scalar();
    }

    QByteArray object(int depth)
    {
        QByteArray made = "{";
        const int count = below(12) == 0 ? below(50) : below(6);
        for (int i = 0; i < count; ++i) {
            made += (i == 0 ? "" : ",") + blanks() + key() + blanks() + ':' + blanks() +
                    value(depth) + blanks();
        }
        return made + (below(300) == 0 ? ",}" : "}");
    }

    QByteArray array(int depth)
    {
        QByteArray made = "[" + blanks();
        for (int i = below(5); i > 0; --i)
            made += value(depth) + blanks() + (i == 1 ? "" : ",");
        return made + ']';
    }

    QRandomGenerator m_random;
};

} // namespace support
