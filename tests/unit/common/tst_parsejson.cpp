#include "common/lostvalues.h"
#include "common/parsejson.h"
#include "common/repeatedkeys.h"
#include "support/plainjson.h"
#include "support/randomjsontexts.h"

#include <QtCore/QJsonArray>
#include <QtCore/QJsonObject>
#include <QtTest/QtTest>

namespace {

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
    row("names alike up to a NUL byte",
        QByteArray(R"({"a?b":[1],"a?c":[2],"a":[3]})").replace('?', '\0'));
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
    support::RandomJsonTexts random(7);
    int valid = 0;
    int cleared = 0;
    int clearedBeforeAnError = 0;
    for (int i = 0; i < 10000; ++i) {
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
    QVERIFY2(valid > 2500 && valid < 9500, QByteArray::number(valid).constData());
    QVERIFY2(cleared > 2000, QByteArray::number(cleared).constData());
    QVERIFY2(clearedBeforeAnError > 250, QByteArray::number(clearedBeforeAnError).constData());
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

QTEST_APPLESS_MAIN(ParseJsonTest)
#include "tst_parsejson.moc"
