#include "chunk/contextfilter.h"
#include "chunkfixture.h"

#include <QtCore/QDebug>
#include <QtCore/QLoggingCategory>
#include <QtTest/QtTest>

namespace {

Q_LOGGING_CATEGORY(testLog, "ch.brenlo.test.filter")

QString printed(const QJsonValue &value)
{
    QString text;
    QDebug(&text) << value;
    return text.trimmed();
}

QVector<support::LogLine> undefinedComparison(const QJsonValue &a, const QJsonValue &b)
{
    const QString category = latin1("ch.brenlo.test.filter");
    return {{QtWarningMsg, category, latin1("Value type comparison not defined.")},
            {QtDebugMsg, category, printed(a)},
            {QtDebugMsg, category, printed(b)}};
}

} // namespace

class tst_ContextFilter : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void filterFits_data();
    void filterFits();
    void valuesAreEqual_data();
    void valuesAreEqual();
    void differentTypesAreLoggedAndNotEqual_data();
    void differentTypesAreLoggedAndNotEqual();
    void everyPairOfAnArrayIsLoggedUpToTheFirstMatch();
    void elementsBehindOneThatIsNotFoundAreStillCompared();
    void textsAmongOtherTypesAreComparedPairByPair();
    void nullAgainstAnythingIsNotLogged();
    void valuesAreNotPrintedWhenDebugIsOff();
    void deepFiltersFit();
};

void tst_ContextFilter::filterFits_data()
{
    QTest::addColumn<QByteArray>("filter");
    QTest::addColumn<QByteArray>("context");
    QTest::addColumn<bool>("fitting");
    const auto row = [](const char *name, const char *filter, const char *context, bool fitting) {
        QTest::newRow(name) << QByteArray(filter) << QByteArray(context) << fitting;
    };
    row("empty filter fits every context", "{}", R"({"a":1})", true);
    row("empty filter fits the empty context", "{}", "{}", true);
    row("nested object needs a subset", R"({"patient":{"id":"7"}})",
        R"({"patient":{"id":"7","name":"x"}})", true);
    row("other id does not fit", R"({"patient":{"id":"7"}})", R"({"patient":{"id":"8"}})", false);
    row("missing member does not fit", R"({"patient":{"id":"7"}})", R"({"inbox":1})", false);
    row("null pair ends the walk before b", R"({"a":null,"b":1})", R"({"a":null,"b":2})", true);
    row("null pair behind a difference comes too late", R"({"a":1,"b":null})",
        R"({"a":2,"b":null})", false);
    row("null pair before a missing member", R"({"a":null,"b":1})", R"({"a":null})", true);
    row("keys are walked in their order, not as written", R"({"b":1,"a":null})",
        R"({"b":2,"a":null})", true);
    row("null in the context against a value", R"({"a":1})", R"({"a":null})", false);
    row("null in the filter against a value", R"({"a":null})", R"({"a":1})", false);
    row("null in the filter against a missing member", R"({"a":null})", "{}", false);
    row("a nested null pair ends the nested walk", R"({"p":{"a":null,"b":1}})",
        R"({"p":{"a":null,"b":2}})", true);
    row("and only the nested one", R"({"p":{"a":null},"q":1})", R"({"p":{"a":null},"q":2})", false);
    row("all members count", R"({"a":1,"b":2})", R"({"a":1,"b":2,"c":3})", true);
}

void tst_ContextFilter::filterFits()
{
    QFETCH(QByteArray, filter);
    QFETCH(QByteArray, context);
    support::LogCapture log;
    QTEST(fits(json(filter).toObject(), json(context).toObject(), &testLog), "fitting");
    QVERIFY(log.lines().isEmpty());
}

void tst_ContextFilter::valuesAreEqual_data()
{
    QTest::addColumn<QByteArray>("values"); // [a, b]
    QTest::addColumn<bool>("equal");
    const auto row = [](const char *name, const char *values, bool equal) {
        QTest::newRow(name) << QByteArray(values) << equal;
    };
    row("null and null", "[null,null]", true);
    row("null and text", R"([null,"x"])", false);
    row("text and null", R"(["x",null])", false);
    row("array and null", "[[],null]", false);
    row("equal texts", R"(["x","x"])", true);
    row("texts that differ in case", R"(["x","X"])", false);
    row("equal numbers", "[1,1.0]", true);
    row("other numbers", "[1,2]", false);
    row("equal booleans", "[false,false]", true);
    row("other booleans", "[false,true]", false);
    row("subset of an object", R"([{"a":1},{"a":1,"b":2}])", true);
    row("superset of an object", R"([{"a":1,"b":2},{"a":1}])", false);
    row("empty object and any object", R"([{},{"a":1}])", true);
    row("text found in the array", R"([["x"],["y","x"]])", true);
    row("empty array and any array", "[[],[1]]", true);
    row("empty array and empty array", "[[],[]]", true);
    row("array and empty array", "[[1],[]]", false);
    row("two elements met by the same one", R"([["x","x"],["x"]])", true);
    row("one of two texts missing", R"([["x","y"],["x","z"]])", false);
    row("numbers in another order", "[[2,1],[1,2,3]]", true);
    row("objects by subset", R"([[{"code":"a"}],[{"code":"b"},{"code":"a","system":"s"}]])", true);
    row("an object not met", R"([[{"code":"a"},{"code":"c"}],[{"code":"a"}]])", false);
    row("null found in an array", R"([[null],["x",null]])", true);
    row("null not found in an array", R"([[null],["x"]])", false);
    row("nested arrays", R"([[["x"]],[["y"],["z","x"]]])", true);
}

void tst_ContextFilter::valuesAreEqual()
{
    QFETCH(QByteArray, values);
    const QJsonArray pair = json(values).toArray();
    support::LogCapture log;
    QTEST(valuesEqual(pair.at(0), pair.at(1), &testLog), "equal");
    QVERIFY(log.lines().isEmpty());
}

void tst_ContextFilter::differentTypesAreLoggedAndNotEqual_data()
{
    QTest::addColumn<QJsonValue>("a");
    QTest::addColumn<QJsonValue>("b");
    const QVector<QPair<QByteArray, QJsonValue>> values{
        {"text", latin1("1")},  {"number", 1},          {"boolean", true},
        {"object", json("{}")}, {"array", json("[1]")}, {"undefined", QJsonValue::Undefined},
    };
    for (const auto &a : values) {
        for (const auto &b : values) {
            if (a.first != b.first || a.first == "undefined")
                QTest::newRow((a.first + " against " + b.first).constData())
                    << a.second << b.second;
        }
    }
}

void tst_ContextFilter::differentTypesAreLoggedAndNotEqual()
{
    QFETCH(QJsonValue, a);
    QFETCH(QJsonValue, b);
    support::LogCapture log;
    QVERIFY(!valuesEqual(a, b, &testLog));
    QCOMPARE(log.lines(), undefinedComparison(a, b));
}

void tst_ContextFilter::everyPairOfAnArrayIsLoggedUpToTheFirstMatch()
{
    support::LogCapture log;
    QVERIFY(valuesEqual(json("[1]"), json(R"(["a",true,1,"b"])"), &testLog));
    QCOMPARE(log.lines(), undefinedComparison(1, latin1("a")) + undefinedComparison(1, true));
}

void tst_ContextFilter::elementsBehindOneThatIsNotFoundAreStillCompared()
{
    support::LogCapture log;
    QVERIFY(!valuesEqual(json(R"(["x",1])"), json(R"(["y"])"), &testLog));
    QCOMPARE(log.lines(), undefinedComparison(1, latin1("y")));
}

void tst_ContextFilter::textsAmongOtherTypesAreComparedPairByPair()
{
    support::LogCapture log;
    QVERIFY(valuesEqual(json(R"(["x","y"])"), json(R"([5,"x","y"])"), &testLog));
    QCOMPARE(log.lines(),
             undefinedComparison(latin1("x"), 5) + undefinedComparison(latin1("y"), 5));
}

void tst_ContextFilter::nullAgainstAnythingIsNotLogged()
{
    support::LogCapture log;
    QVERIFY(!valuesEqual(QJsonValue(), QJsonValue::Undefined, &testLog));
    QVERIFY(!valuesEqual(QJsonValue::Undefined, QJsonValue(), &testLog));
    QVERIFY(log.lines().isEmpty());
}

void tst_ContextFilter::valuesAreNotPrintedWhenDebugIsOff()
{
    support::LogCapture log(latin1("ch.brenlo.*.debug=false"));
    QVERIFY(!valuesEqual(1, latin1("1"), &testLog));
    QCOMPARE(log.lines(), undefinedComparison(1, latin1("1")).mid(0, 1));
}

void tst_ContextFilter::deepFiltersFit()
{
    constexpr int depth = 500; // of objects and arrays each: as deep as a chunk can be
    const QByteArray text =
        QByteArray(R"({"a":[)").repeated(depth) + "1" + QByteArray("]}").repeated(depth);
    const QJsonObject deep = json(text).toObject();
    QVERIFY(fits(deep, deep, &testLog));
}

QTEST_GUILESS_MAIN(tst_ContextFilter)
#include "tst_contextfilter.moc"
