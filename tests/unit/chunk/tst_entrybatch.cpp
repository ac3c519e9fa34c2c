#include "chunk/entrybatch.h"
#include "chunkfixture.h"

#include <QtTest/QtTest>

class tst_EntryBatch : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void itemsAreMerged_data();
    void itemsAreMerged();
    void mergesAnyNumberOfItems_data();
    void mergesAnyNumberOfItems();
    void entriesAreCountedWhetherOrNotTheyBringAnItem();
    void resourcesWithoutIdAreListedInOrder();
    void sameBatchMergesIntoManyArrays();
};

void tst_EntryBatch::itemsAreMerged_data()
{
    QTest::addColumn<QByteArray>("entries");
    QTest::addColumn<QByteArray>("existing");
    QTest::addColumn<QByteArray>("merged");
    const auto row = [](const char *name, const char *entries, const char *existing,
                        const char *merged) {
        QTest::newRow(name) << QByteArray(entries) << QByteArray(existing) << QByteArray(merged);
    };
    row("a new item replaces the one of its id", R"([{"resource":{"id":"1","v":2}}])",
        R"([{"id":"1","v":1},{"id":"2"}])", R"([{"id":"1","v":2},{"id":"2"}])");
    row("new items come first", R"([{"resource":{"id":"9"}},{"resource":{"id":"8"}}])",
        R"([{"id":"1"}])", R"([{"id":"9"},{"id":"8"},{"id":"1"}])");
    row("new items of one id all stay",
        R"([{"resource":{"id":"1"}},{"resource":{"id":"1","v":2}}])", R"([{"id":"1"}])",
        R"([{"id":"1"},{"id":"1","v":2}])");
    row("of present items of one id the first stays", "[]", R"([{"id":"1","v":1},{"id":"1"}])",
        R"([{"id":"1","v":1}])");
    row("ids are compared exactly", R"([{"resource":{"id":"a"}}])", R"([{"id":"A"},{"id":"a "}])",
        R"([{"id":"a"},{"id":"A"},{"id":"a "}])");
    row("entry without resource is left out", R"([{},{"resource":{"id":"1"}}])", "[]",
        R"([{"id":"1"}])");
    row("entry that is no object is left out", R"([1,"x",null,[]])", "[]", "[]");
    row("empty resource is left out", R"([{"resource":{}}])", "[]", "[]");
    row("resource that is no object is left out", R"([{"resource":5},{"resource":null}])", "[]",
        "[]");
    row("resource without id is kept", R"([{"resource":{"v":1}}])", R"([{"id":"1"}])",
        R"([{"v":1},{"id":"1"}])");
    row("and drops present items without text id", R"([{"resource":{"v":1}}])",
        R"([{"w":1},{"id":2},{"id":""},{"id":null},5])", R"([{"v":1}])");
    row("of present items without text id the first stays", "[]",
        R"([{"id":3},{"v":1},7,{"id":""}])", R"([{"id":3}])");
    row("a present item that is no object is kept as it is", R"([{"resource":{"id":"1"}}])",
        R"(["text"])", R"([{"id":"1"},"text"])");
    row("empty resource does not drop items without id", R"([{"resource":{}}])", R"([{"v":1}])",
        R"([{"v":1}])");
    row("nothing into nothing", "[]", "[]", "[]");
}

void tst_EntryBatch::itemsAreMerged()
{
    QFETCH(QByteArray, entries);
    QFETCH(QByteArray, existing);
    QFETCH(QByteArray, merged);
    const EntryBatch batch(json(entries).toArray());
    QCOMPARE(QJsonValue(batch.mergedInto(json(existing).toArray())), json(merged));
}

void tst_EntryBatch::mergesAnyNumberOfItems_data()
{
    QTest::addColumn<int>("count");
    // A few ids are looked through, more are hashed into a power of two of slots.
    for (const int count : {0, 1, 2, 7, 8, 9, 16, 31, 32, 33, 1000})
        QTest::addRow("%d", count) << count;
}

/// Every other item is replaced, and each present item is there twice.
void tst_EntryBatch::mergesAnyNumberOfItems()
{
    QFETCH(int, count);
    QJsonArray entries;
    QJsonArray existing;
    QJsonArray replaced;
    QJsonArray kept;
    for (int i = 0; i < count; ++i) {
        const QString id = QString::number(i);
        const QJsonObject item{{QStringLiteral("id"), id}, {QStringLiteral("v"), 1}};
        const QJsonObject again{{QStringLiteral("id"), id}, {QStringLiteral("v"), 2}};
        existing.append(item);
        existing.append(again);
        if (i % 2) {
            entries.append(QJsonObject{{QStringLiteral("resource"), again}});
            replaced.append(again);
        } else {
            kept.append(item);
        }
    }
    QJsonArray expected = replaced;
    for (const QJsonValue item : qAsConst(kept))
        expected.append(item);
    QCOMPARE(EntryBatch(entries).mergedInto(existing), expected);
}

void tst_EntryBatch::entriesAreCountedWhetherOrNotTheyBringAnItem()
{
    QCOMPARE(EntryBatch(json(R"([1,{},{"resource":{}},{"resource":{"id":"1"}}])").toArray())
                 .entryCount(),
             4);
}

void tst_EntryBatch::resourcesWithoutIdAreListedInOrder()
{
    const EntryBatch batch(json(R"([{"resource":{"v":1}},{},{"resource":{"id":null}},
        {"resource":{"id":7}},{"resource":5},{"resource":{"v":2}}])")
                               .toArray());
    const QVector<QJsonObject> expected{json(R"({"v":1})").toObject(), QJsonObject(),
                                        json(R"({"v":2})").toObject()};
    QCOMPARE(batch.resourcesWithoutId(), expected);
}

void tst_EntryBatch::sameBatchMergesIntoManyArrays()
{
    const EntryBatch batch(json(R"([{"resource":{"id":"1"}}])").toArray());
    QCOMPARE(QJsonValue(batch.mergedInto(json(R"([{"id":"2"}])").toArray())),
             json(R"([{"id":"1"},{"id":"2"}])"));
    QCOMPARE(QJsonValue(batch.mergedInto(json(R"([{"id":"3"}])").toArray())),
             json(R"([{"id":"1"},{"id":"3"}])"));
}

QTEST_GUILESS_MAIN(tst_EntryBatch)
#include "tst_entrybatch.moc"
