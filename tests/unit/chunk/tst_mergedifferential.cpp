#include "chunk/addactionrequestsbehaviour.h"
#include "chunk/addmatchingitemsbehaviour.h"
#include "chunk/contextfilter.h"
#include "chunkfixture.h"
#include "support/mergereference.h"

#include <QtCore/QRandomGenerator>
#include <QtTest/QtTest>

namespace {

/// Random JSON out of few keys and few values, so that members meet, and with every type among
/// them, so that some do not. The same seed gives the same values everywhere.
class RandomJson
{
public:
    explicit RandomJson(quint32 seed)
        : m_random(seed)
    {
    }

    int below(int bound) { return m_random.bounded(bound); }

    QJsonValue value(int depth)
    {
        switch (below(depth > 0 ? 10 : 7)) {
        case 0:
            return QJsonValue::Null;
        case 1:
            return below(2) == 0;
        case 2:
            return below(3);
        case 3:
            return below(2) + 0.5;
        case 4:
        case 5:
        case 6:
            return text();
        case 7:
            return array(depth - 1);
        default:
            return object(depth - 1);
        }
    }

    QJsonObject object(int depth)
    {
        QJsonObject made;
        for (int i = below(4); i > 0; --i)
            made.insert(QString(QLatin1Char(char('a' + below(4)))), value(depth));
        return made;
    }

    QJsonArray items()
    {
        QJsonArray made;
        for (int i = below(7); i > 0; --i)
            made.append(item());
        return made;
    }

    QJsonValue entries()
    {
        if (below(12) == 0)
            return value(1);
        QJsonArray made;
        for (int i = below(6); i > 0; --i)
            made.append(entry());
        return QJsonObject{{latin1("entry"), made}};
    }

private:
    QJsonValue text() { return QString(QLatin1Char(char('x' + below(3)))); }

    QJsonArray array(int depth)
    {
        QJsonArray made;
        const bool texts = below(2) == 0; // the shape that is compared by look-up
        for (int i = below(4); i > 0; --i)
            made.append(texts ? text() : value(depth));
        return made;
    }

    QJsonValue item()
    {
        if (below(8) == 0)
            return value(1);
        QJsonObject made = object(1);
        if (below(6) > 0)
            made.insert(latin1("id"), below(6) == 0 ? value(0) : QString::number(below(6)));
        return made;
    }

    QJsonValue entry()
    {
        if (below(8) == 0)
            return value(1);
        QJsonObject made = object(0);
        if (below(8) > 0)
            made.insert(latin1("resource"), item());
        return made;
    }

    QRandomGenerator m_random;
};

QJsonObject randomContext(RandomJson &random, const QString &key)
{
    QJsonObject context = random.object(2);
    if (random.below(4) > 0)
        context.insert(key, random.items());
    if (random.below(2) == 0)
        context.insert(latin1("patient"), random.value(2));
    return context;
}

/// Often a part of one of the contexts, so that it fits.
QJsonValue randomFilter(RandomJson &random, const QJsonObject &context)
{
    if (random.below(4) == 0)
        return random.value(2);
    QJsonObject filter;
    for (auto member = context.begin(); member != context.end(); ++member) {
        if (random.below(3) == 0)
            filter.insert(member.key(), member.value());
    }
    return filter;
}

QJsonObject randomChunk(RandomJson &random, const support::MergeReference &reference,
                        const QJsonObject &context)
{
    QJsonObject body{{reference.arrayKey, random.entries()}};
    if (random.below(10) > 0)
        body.insert(latin1("filter"), randomFilter(random, context));
    QJsonObject chunk{{latin1("exchange"), reference.exchange}, {latin1("body"), body}};
    if (random.below(2) == 0)
        chunk.insert(latin1("source"), random.value(1));
    return chunk;
}

QVector<QPair<QString, QJsonValue>> contents(Stores &stores)
{
    QVector<QPair<QString, QJsonValue>> all;
    const QStringList ids = stores.contexts.contextIds();
    for (const QString &id : ids)
        all.append({id, stores.contexts.context(id)});
    return all;
}

struct Outcome
{
    QVector<QPair<QString, QJsonValue>> contexts;
    QVector<QJsonValue> published;
    QVector<QPair<QString, QJsonValue>> announced;
    QVector<support::LogLine> log;
};

template<typename Handle>
Outcome outcomeOf(const QVector<QJsonValue> &contexts, const Handle &handle)
{
    Stores stores;
    for (int i = 0; i < contexts.size(); ++i)
        stores.contexts.setContext(QString::number(i), contexts.at(i));
    stores.publisher.clear();
    Outcome outcome;
    QObject::connect(&stores.contexts, &ContextService::contextChanged, &stores.contexts,
                     [&outcome](const QString &id, const QJsonValue &context) {
                         outcome.announced.append({id, context});
                     });
    {
        support::LogCapture log;
        handle(stores.contexts);
        outcome.log = log.lines();
    }
    outcome.contexts = contents(stores);
    outcome.published = stores.publisher.chunks();
    return outcome;
}

template<typename Behaviour>
void compareOnRandomChunks(const support::MergeReference &reference, quint32 seed)
{
    RandomJson random(seed);
    int merges = 0;
    for (int round = 0; round < 4000; ++round) {
        QVector<QJsonValue> contexts;
        for (int i = random.below(4); i >= 0; --i)
            contexts.append(randomContext(random, reference.arrayKey));
        if (random.below(8) == 0)
            contexts.append(random.value(2));
        const QJsonObject chunk = randomChunk(random, reference, contexts.first().toObject());

        const Outcome expected = outcomeOf(contexts, [&](ContextService &store) {
            support::referenceHandle(reference, store, chunk);
        });
        const Outcome found =
            outcomeOf(contexts, [&](ContextService &store) { Behaviour(&store).handle(chunk); });
        QCOMPARE(found.contexts, expected.contexts);
        QCOMPARE(found.published, expected.published);
        QCOMPARE(found.announced, expected.announced);
        QCOMPARE(found.log, expected.log);
        merges += found.announced.size();
    }
    QVERIFY2(merges > 1000, "the random chunks hardly ever fit");
}

} // namespace

/// What the behaviours do, compared with the rules written straight down.
class tst_MergeDifferential : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void matchingItemsMergeAsWrittenDown();
    void actionRequestsMergeAsWrittenDown();
    void filtersFitAsWrittenDown();
    void arraysOfOneTypeAreMetAsWrittenDown_data();
    void arraysOfOneTypeAreMetAsWrittenDown();
    void largeMergesAreAsWrittenDown();
};

void tst_MergeDifferential::matchingItemsMergeAsWrittenDown()
{
    compareOnRandomChunks<AddMatchingItemsBehaviour>(support::matchingItemsReference(), 1);
}

void tst_MergeDifferential::actionRequestsMergeAsWrittenDown()
{
    compareOnRandomChunks<AddActionRequestsBehaviour>(support::actionRequestsReference(), 2);
}

void tst_MergeDifferential::filtersFitAsWrittenDown()
{
    const support::MergeReference reference = support::matchingItemsReference();
    RandomJson random(3);
    int equal = 0;
    for (int round = 0; round < 20000; ++round) {
        const QJsonValue a = random.value(3);
        const QJsonValue b = random.below(3) == 0 ? a : random.value(3);
        support::LogCapture log;
        const bool expected = support::referenceValuesEqual(reference, a, b);
        const QVector<support::LogLine> expectedLines = log.lines();
        log.clear();
        QCOMPARE(valuesEqual(a, b, reference.category), expected);
        QCOMPARE(log.lines(), expectedLines);
        equal += expected ? 1 : 0;
    }
    QVERIFY2(equal > 1000 && equal < 19000, "the random values are too much alike");
}

void tst_MergeDifferential::arraysOfOneTypeAreMetAsWrittenDown_data()
{
    QTest::addColumn<QByteArray>("pool");
    QTest::newRow("texts") << QByteArray(R"("" "a" "A" "1" "\u00e4" "\ud83d\ude00" "null")");
    QTest::newRow("booleans") << QByteArray("true false");
    QTest::newRow("numbers") << QByteArray("0 -0.0 1 1.0 1e0 -1 0.1 0.10000000000000001 2");
    QTest::newRow("integers that share a double")
        << QByteArray("9007199254740991 9007199254740992 9007199254740993 9007199254740992.0 "
                      "9007199254740993.0 9223372036854775806 9223372036854775807 "
                      "9223372036854775808 9.223372036854775807e18 -9223372036854775808 "
                      "-9223372036854775807 18446744073709551615 1e19 1e20 1e308 -1e308");
    QTest::newRow("one that is of another type") << QByteArray(R"(0 1 2 3 4 5 6 7 8 9 "0")");
}

void tst_MergeDifferential::arraysOfOneTypeAreMetAsWrittenDown()
{
    QFETCH(QByteArray, pool);
    const support::MergeReference reference = support::matchingItemsReference();
    const QByteArrayList values = pool.split(' ');
    RandomJson random(5);
    // Parsed, because only the parser makes integers that no double can hold.
    const auto pick = [&](int most) {
        const bool nulls = random.below(4) == 0;
        QByteArrayList made;
        for (int i = random.below(most); i > 0; --i)
            made.append(nulls && random.below(4) == 0 ? "null"
                                                      : values.at(random.below(values.size())));
        return json('[' + made.join(',') + ']').toArray();
    };
    int equal = 0;
    for (int round = 0; round < 4000; ++round) {
        const QJsonArray a = pick(5);
        const QJsonArray b = pick(3 * values.size());
        support::LogCapture log;
        const bool expected = support::referenceValuesEqual(reference, a, b);
        const QVector<support::LogLine> expectedLines = log.lines();
        log.clear();
        QCOMPARE(valuesEqual(a, b, reference.category), expected);
        QCOMPARE(log.lines(), expectedLines);
        equal += expected ? 1 : 0;
    }
    QVERIFY2(equal > 800 && equal < 3600, qPrintable(QString::number(equal)));
}

void tst_MergeDifferential::largeMergesAreAsWrittenDown()
{
    RandomJson random(4);
    QJsonArray existing;
    for (int i = 0; i < 600; ++i)
        existing.append(QJsonObject{{latin1("id"), QString::number(random.below(400))}});
    QJsonArray entries;
    for (int i = 0; i < 300; ++i) {
        const QJsonObject resource{{latin1("id"), QString::number(random.below(500))},
                                   {latin1("v"), i}};
        entries.append(QJsonObject{{latin1("resource"), resource}});
    }
    const support::MergeReference reference = support::matchingItemsReference();
    const QVector<QJsonValue> contexts{QJsonObject{{reference.arrayKey, existing}}};
    const QJsonObject chunk{
        {latin1("exchange"), reference.exchange},
        {latin1("body"),
         QJsonObject{{latin1("filter"), QJsonObject()},
                     {reference.arrayKey, QJsonObject{{latin1("entry"), entries}}}}}};
    const Outcome expected = outcomeOf(contexts, [&](ContextService &store) {
        support::referenceHandle(reference, store, chunk);
    });
    const Outcome found = outcomeOf(
        contexts, [&](ContextService &store) { AddMatchingItemsBehaviour(&store).handle(chunk); });
    QCOMPARE(found.contexts, expected.contexts);
    QCOMPARE(found.log, expected.log);
}

QTEST_GUILESS_MAIN(tst_MergeDifferential)
#include "tst_mergedifferential.moc"
