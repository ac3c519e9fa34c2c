#include "common/lostvalues.h"
#include "common/parsejson.h"
#include "common/repeatedkeys.h"
#include "support/plainjson.h"

#include <QtCore/QJsonArray>
#include <QtCore/QJsonObject>
#include <QtCore/QRandomGenerator>
#include <QtTest/QtTest>

#if defined(__GLIBC__) && !defined(KAVO_LEAKS_ARE_FOUND)
#include <malloc.h>
#if __GLIBC_PREREQ(2, 33)
#define KAVO_MEMORY_IS_COUNTED
#endif
#endif

namespace {

/// JSON texts, mostly, whose objects have few names for many members. The same seed gives the same
/// texts everywhere.
class RandomTexts
{
public:
    explicit RandomTexts(quint32 seed)
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

bool isParsedAlike(const QByteArray &text)
{
    QJsonParseError error{};
    QJsonParseError expectedError{};
    const QJsonDocument document = common::parseJson(text, &error);
    const QJsonDocument expected = support::plainJson(text, &expectedError);
    return support::areAlike(document, error, expected, expectedError);
}

} // namespace

class ParseJsonTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void clearsWhatIsLost_data();
    void clearsWhatIsLost();
    void leavesOtherTextsAlone_data();
    void leavesOtherTextsAlone();
    void isParsedLikeByQt_data();
    void isParsedLikeByQt();
    void randomTextsAreParsedLikeByQt();
    void deepTextsAreParsedLikeByQt();
    void errorMayBeLeftOut();
#ifdef KAVO_MEMORY_IS_COUNTED
    void losesNoMemory();
#endif
};

void ParseJsonTest::clearsWhatIsLost_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<QByteArray>("cleared");
    const auto row = [](const char *name, const QByteArray &text, const QByteArray &cleared) {
        QTest::newRow(name) << text << cleared;
    };
    row("an array", R"({"a":[1],"a":2})", R"({"a":0  ,"a":2})");
    row("an object", R"({"a":{"b":1},"a":2})", R"({"a":0      ,"a":2})");
    row("but not the last", R"({"a":[1],"a":[2]})", R"({"a":0  ,"a":[2]})");
    row("all but the last", R"({"a":[1],"b":[2],"a":[3],"a":4})",
        R"({"a":0  ,"b":[2],"a":0  ,"a":4})");
    row("blanks stay", "{ \"a\" : [ 1 ] , \"a\" : 2 }", "{ \"a\" : 0     , \"a\" : 2 }");
    row("inside", R"([{"a":{"b":[1],"b":2}}])", R"([{"a":{"b":0  ,"b":2}}])");
    row("inside of what is lost", R"({"a":{"b":[1],"b":2},"a":[3]})",
        R"({"a":0              ,"a":[3]})");
    row("by an escape", R"({"a":[1],"\u0061":[2]})", R"({"a":0  ,"\u0061":[2]})");
    row("before an error", R"([{"a":[1],"a":[2]},x])", R"([{"a":0  ,"a":[2]},x])");
}

void ParseJsonTest::clearsWhatIsLost()
{
    QFETCH(QByteArray, text);
    QFETCH(QByteArray, cleared);
    QVERIFY(common::mayRepeatKeys(text));
    QCOMPARE(common::withoutLostValues(text), cleared);
    QVERIFY(isParsedAlike(text));
}

void ParseJsonTest::leavesOtherTextsAlone_data()
{
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<bool>("isPassedOver");
    const auto row = [](const char *name, const QByteArray &text, bool isPassedOver) {
        QTest::newRow(name) << text << isPassedOver;
    };
    row("nothing", "", true);
    row("no member twice", R"({"a":[1],"b":{"a":[2]}})", true);
    row("scalars twice", R"({"a":1,"a":2,"b":[3]})", true);
    row("twice in two objects", R"([{"a":[1]},{"a":[2]}])", true);
    row("the same letters as a value", R"({"a":["a"],"b":"a"})", true);
    row("brackets in texts", R"({"a":"{\"b\":[],\"b\":[","c":[]})", true);
    row("not the last has the escape", R"({"a":[1],"\u0062":2})", false);
    row("never closed", R"({"a":[1],"a":[2])", true);
    row("error in what would be lost", R"({"a":[1,],"a":2})", false);
    row("error in a number of it", R"({"a":[1e400],"a":2})", false);
    row("error in a text of it", "{\"a\":[\"\xff\"],\"a\":2}", false);
    row("error in an escape of it", R"({"a":["\u12"],"a":2})", false);
    row("error in a word of it", R"({"a":[nul],"a":2})", false);
    row("closed by the other bracket", R"({"a":[1],"a":[2]])", false);
}

void ParseJsonTest::leavesOtherTextsAlone()
{
    QFETCH(QByteArray, text);
    QFETCH(bool, isPassedOver);
    QCOMPARE(common::mayRepeatKeys(text), !isPassedOver);
    QCOMPARE(common::withoutLostValues(text), text);
    QVERIFY(isParsedAlike(text));
}

void ParseJsonTest::isParsedLikeByQt_data()
{
    QTest::addColumn<QByteArray>("text");
    const auto row = [](const char *name, const QByteArray &text) { QTest::newRow(name) << text; };
    row("a mark of three bytes is no text", "\xef\xbb\xbf");
    row("a mark before a text", "\xef\xbb\xbf{\"a\":[],\"a\":[1]}");
    row("names alike up to a NUL byte", QByteArray("{\"a\0b\":[1],\"a\0c\":[2],\"a\":[3]}", 31));
    row("an empty name", R"({"":[1],"":{"":[2],"":[3]}})");
    row("ends in a name", R"({"a":[1],"a)");
    row("ends in an escape", R"({"a":[1],"a":"\)");
    row("ends in a number", R"({"a":[1],"a":2)");
    // Beyond sixteen members the sort that finds the equal ones decides which of them stays.
    QByteArray many = "{";
    for (int i = 0; i < 100; ++i)
        many += (i ? ",\"" : "\"") + QByteArray::number(i * 7 % 10) + "\":[" +
                QByteArray::number(i) + ']';
    row("many members of few names", many + '}');
    // One order for names that are written as they are, another for those with escapes.
    QByteArray mixed = "{\"a\":[]";
    for (int i = 0; i < 60; ++i) {
        const QByteArray number = QByteArray::number(i % 20);
        mixed += ",\"\xef\xbf\xbd" + number + "\":[1],\"\\ud83d\\ude00" + number +
                 "\":[2],\"\xf0\x9f\x98\x80" + number + "\":[3]";
    }
    row("names in no order", mixed + '}');
    row("many in what is lost", "[{\"x\":" + many + "},\"x\":1}]");
}

void ParseJsonTest::isParsedLikeByQt()
{
    QFETCH(QByteArray, text);
    QVERIFY(isParsedAlike(text));
}

void ParseJsonTest::randomTextsAreParsedLikeByQt()
{
    RandomTexts random(7);
    int valid = 0;
    int cleared = 0;
    int clearedBeforeAnError = 0;
    for (int i = 0; i < 20000; ++i) {
        QByteArray text = random.text();
        if (i % 2)
            text = random.mutated(text);
        if (!isParsedAlike(text))
            QFAIL(("Another document, or another error: " + text.toPercentEncoding()).constData());
        const bool isValid = !support::plainJson(text, nullptr).isNull();
        const bool isCleared = common::withoutLostValues(text) != text;
        // The quick look must not miss what the long one finds.
        if (isCleared && !common::mayRepeatKeys(text))
            QFAIL(("Passed over: " + text.toPercentEncoding()).constData());
        valid += isValid ? 1 : 0;
        cleared += isCleared ? 1 : 0;
        clearedBeforeAnError += isCleared && !isValid ? 1 : 0;
    }
    // Or the texts were none that matter.
    QVERIFY2(valid > 5000 && valid < 19000, QByteArray::number(valid).constData());
    QVERIFY2(cleared > 4000, QByteArray::number(cleared).constData());
    QVERIFY2(clearedBeforeAnError > 500, QByteArray::number(clearedBeforeAnError).constData());
}

void ParseJsonTest::deepTextsAreParsedLikeByQt()
{
    constexpr int Deepest = 1024;
    for (const int depth : {Deepest - 1, Deepest, Deepest + 1}) {
        const QByteArray lost = QByteArray("{\"a\":").repeated(depth - 1) + "[]" +
                                QByteArray(",\"a\":1}").repeated(depth - 1);
        QVERIFY(isParsedAlike(lost));
        QVERIFY(isParsedAlike("{\"a\":" + QByteArray("[").repeated(depth - 1) +
                              QByteArray("]").repeated(depth - 1) + ",\"a\":[]}"));
        QVERIFY(isParsedAlike("{\"a\":[[]],\"a\":" + QByteArray("[").repeated(depth - 1) +
                              QByteArray("]").repeated(depth - 1) + '}'));
    }
}

void ParseJsonTest::errorMayBeLeftOut()
{
    QCOMPARE(common::parseJson(R"({"a":[1],"a":[2]})").object(),
             (QJsonObject{{QStringLiteral("a"), QJsonArray{2}}}));
    QVERIFY(common::parseJson("{").isNull());
}

#ifdef KAVO_MEMORY_IS_COUNTED
void ParseJsonTest::losesNoMemory()
{
    RandomTexts random(11);
    QByteArrayList texts;
    for (int i = 0; i < 200; ++i) {
        const QByteArray text = random.text();
        texts.append(i % 2 ? random.mutated(text) : text);
    }
    const auto parseAll = [&texts](int rounds) {
        for (int i = 0; i < rounds; ++i) {
            for (const QByteArray &text : qAsConst(texts))
                common::parseJson(text);
        }
    };
    constexpr int Rounds = 200;
    parseAll(Rounds / 10); // the allocator keeps a little for the next time
    const auto before = static_cast<qint64>(mallinfo2().uordblks);
    parseAll(Rounds);
    const qint64 grown = static_cast<qint64>(mallinfo2().uordblks) - before;
    constexpr int SmallestLoss = 90; // an array of one number
    QVERIFY2(grown < Rounds * SmallestLoss, QByteArray::number(grown).constData());
}
#endif

QTEST_APPLESS_MAIN(ParseJsonTest)
#include "tst_parsejson.moc"
