#include "chunk/addactionrequestsbehaviour.h"
#include "chunk/addmatchingitemsbehaviour.h"
#include "chunkfixture.h"

#include <QtCore/QSettings>
#include <QtCore/QTemporaryDir>
#include <QtCore/QTimer>
#include <QtTest/QSignalSpy>
#include <QtTest/QtTest>

namespace {

/// One of the two merging behaviours with its names.
struct Variant
{
    QString key;
    QString exchange;
    QString category;
    std::unique_ptr<ChunkBehaviour> behaviour;

    QJsonValue chunk(const char *filter, const char *entries, const char *source = "\"lab\"") const
    {
        return json("{\"exchange\":\"" + exchange.toLatin1() + "\",\"source\":" + source +
                    ",\"body\":{\"filter\":" + filter + ",\"" + key.toLatin1() +
                    "\":{\"entry\":" + entries + "}}}");
    }

    support::LogLine debug(const char *text) const { return {QtDebugMsg, category, latin1(text)}; }
    support::LogLine warning(const char *text) const
    {
        return {QtWarningMsg, category, latin1(text)};
    }
};

Variant variant(const QByteArray &key, Stores &stores)
{
    if (key == "matchingItems") {
        return {latin1("matchingItems"), latin1("kavo-context-add-matching-items"),
                latin1("ch.brenlo.kavo-service.context.addmatchingitemsbehaviour"),
                std::make_unique<AddMatchingItemsBehaviour>(&stores.contexts)};
    }
    return {latin1("actionRequests"), latin1("kavo-context-add-action-requests"),
            latin1("ch.brenlo.kavo-service.context.addactionrequestsbehaviour"),
            std::make_unique<AddActionRequestsBehaviour>(&stores.contexts)};
}

void bothVariants()
{
    QTest::addColumn<QByteArray>("key");
    QTest::newRow("matching items") << QByteArray("matchingItems");
    QTest::newRow("action requests") << QByteArray("actionRequests");
}

} // namespace

class tst_EntryMerging : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void entriesAreMergedIntoTheContextsThatFit_data() { bothVariants(); }
    void entriesAreMergedIntoTheContextsThatFit();
    void otherChunksPassWithoutATrace_data();
    void otherChunksPassWithoutATrace();
    void bodyWithoutFilterIsWarnedOf_data() { bothVariants(); }
    void bodyWithoutFilterIsWarnedOf();
    void filterThatIsNoObjectReadsAsEmpty();
    void emptyFilterWithoutItemsUpdatesEveryContext_data() { bothVariants(); }
    void emptyFilterWithoutItemsUpdatesEveryContext();
    void acceptedAndRejectedMatchingItemsAreTraced();
    void acceptedAndRejectedActionRequestsAreTraced();
    void existingMatchingItemsHasAlwaysZero();
    void resourceWithoutIdIsWarnedOfForEachContext();
    void sourceOfAnyTypeIsPrintedAsAValue();
    void typeMismatchInTheFilterIsLoggedAndRejects();
    void nothingIsTracedWhenDebugIsOff();
    void mergeIsAnnouncedBySignalButNotByChunk();
    void readingAContextCountsAsUse();
    void nullContextIsCreatedByTheMerge();
    void contextOfAnotherTypeStaysAsItIs();
    void contextsThatComeToBeDuringTheWalkAreLeftOut_data() { bothVariants(); }
    void contextsThatComeToBeDuringTheWalkAreLeftOut();
};

void tst_EntryMerging::entriesAreMergedIntoTheContextsThatFit()
{
    QFETCH(QByteArray, key);
    Stores stores;
    const Variant merging = variant(key, stores);
    const QByteArray items = R"("patient":{"id":"7","name":"x"},")" + key + R"(":)";
    stores.put("a", "{" + items + R"([{"id":"1","v":1},{"id":"2"}]})");
    stores.put("b", R"({"patient":{"id":"8"}})");
    stores.put("c", R"({"patient":{"id":"7","name":"x"}})");
    merging.behaviour->handle(
        merging.chunk(R"({"patient":{"id":"7"}})", R"([{"resource":{"id":"1","v":2}}])"));
    QCOMPARE(stores.at("a"), json("{" + items + R"([{"id":"1","v":2},{"id":"2"}]})"));
    QCOMPARE(stores.at("b"), json(R"({"patient":{"id":"8"}})"));
    QCOMPARE(stores.at("c"), json("{" + items + R"([{"id":"1","v":2}]})"));
}

void tst_EntryMerging::otherChunksPassWithoutATrace_data()
{
    QTest::addColumn<QJsonValue>("chunk");
    QTest::newRow("other exchange") << json(R"({"exchange":"other","body":{"filter":{}}})");
    QTest::newRow("exchange of another type") << json(R"({"exchange":1,"body":{"filter":{}}})");
    QTest::newRow("no exchange") << json(R"({"body":{"filter":{}}})");
    QTest::newRow("array") << json("[]");
    QTest::newRow("text") << QJsonValue(latin1("kavo-context-add-matching-items"));
    QTest::newRow("null") << QJsonValue();
}

void tst_EntryMerging::otherChunksPassWithoutATrace()
{
    QFETCH(QJsonValue, chunk);
    Stores stores;
    stores.put("a", "{}");
    support::LogCapture log;
    AddMatchingItemsBehaviour(&stores.contexts).handle(chunk);
    AddActionRequestsBehaviour(&stores.contexts).handle(chunk);
    QVERIFY(log.lines().isEmpty());
    QCOMPARE(stores.at("a"), json("{}"));
}

void tst_EntryMerging::bodyWithoutFilterIsWarnedOf()
{
    QFETCH(QByteArray, key);
    Stores stores;
    const Variant merging = variant(key, stores);
    stores.put("a", "{}");
    support::LogCapture log;
    merging.behaviour->handle(json("{\"exchange\":\"" + merging.exchange.toLatin1() +
                                   "\",\"body\":{\"" + key +
                                   R"(":{"entry":[{"resource":{"id":"1"}}]}}})"));
    const QVector<support::LogLine> expected{
        merging.debug("Chunk received:  QJsonValue(undefined)"),
        merging.warning("Invalid chunk received, chunk has no filter."),
    };
    QCOMPARE(log.lines(), expected);
    QCOMPARE(stores.at("a"), json("{}"));
}

void tst_EntryMerging::filterThatIsNoObjectReadsAsEmpty()
{
    Stores stores;
    const Variant merging = variant("actionRequests", stores);
    stores.put("a", R"({"patient":1})");
    const support::LogCapture log;
    merging.behaviour->handle(merging.chunk("null", R"([{"resource":{"id":"1"}}])"));
    QCOMPARE(log.lines().at(1), merging.debug("Empty filter. Add to all contexts."));
    QCOMPARE(stores.at("a"), json(R"({"patient":1,"actionRequests":[{"id":"1"}]})"));
}

void tst_EntryMerging::emptyFilterWithoutItemsUpdatesEveryContext()
{
    QFETCH(QByteArray, key);
    Stores stores;
    const Variant merging = variant(key, stores);
    stores.put("a", "{}");
    stores.put("b", "{\"" + key + R"(":[{"id":"1"},{"id":"2"}]})");
    stores.put("c", "{\"" + key + R"(":[{"v":1},{"v":2},{"id":3}]})");
    merging.behaviour->handle(
        json("{\"exchange\":\"" + merging.exchange.toLatin1() + "\",\"body\":{\"filter\":{}}}"));
    QCOMPARE(stores.at("a"), json("{\"" + key + "\":[]}"));
    QCOMPARE(stores.at("b"), json("{\"" + key + R"(":[{"id":"1"},{"id":"2"}]})"));
    // Several items without a text "id" become one.
    QCOMPARE(stores.at("c"), json("{\"" + key + R"(":[{"v":1}]})"));
}

void tst_EntryMerging::acceptedAndRejectedMatchingItemsAreTraced()
{
    Stores stores;
    const Variant merging = variant("matchingItems", stores);
    stores.put("a", R"({"patient":{"id":"7"},"x":1})");
    stores.put("b", R"({"x":1})");
    support::LogCapture log;
    merging.behaviour->handle(
        merging.chunk(R"({"patient":{"id":"7"}})", R"([{"resource":{"id":"1"}},{}])"));
    const QVector<support::LogLine> expected{
        merging.debug("Chunk received:  QJsonValue(string, \"lab\")"),
        merging.debug("Filter keys: (\"patient\") , context keys: (\"patient\", \"x\")"),
        merging.debug("Filter patient: QJsonValue(object, QJsonObject({\"id\":\"7\"}))"),
        merging.debug("Context patient: QJsonValue(object, QJsonObject({\"id\":\"7\"}))"),
        merging.debug("Accepted update for matchingItems with 2 entries."),
        merging.debug("Existing matchingItems has 0 entries."),
        merging.debug("Filter keys: (\"patient\") , context keys: (\"x\")"),
        merging.debug("Filter patient: QJsonValue(object, QJsonObject({\"id\":\"7\"}))"),
        merging.debug("Context patient: QJsonValue(undefined)"),
        merging.debug("No overlap found. Reject update."),
    };
    QCOMPARE(log.lines(merging.category), expected);
}

void tst_EntryMerging::acceptedAndRejectedActionRequestsAreTraced()
{
    Stores stores;
    const Variant merging = variant("actionRequests", stores);
    stores.put("a", R"({"patient":{"id":"7"}})");
    stores.put("b", "{}");
    support::LogCapture log;
    merging.behaviour->handle(
        merging.chunk(R"({"patient":{"id":"7"}})", R"([{"resource":{"v":1}},{"resource":{}}])"));
    const QVector<support::LogLine> expected{
        merging.debug("Chunk received:  QJsonValue(string, \"lab\")"),
        merging.debug("Filter keys: (\"patient\") , context keys: (\"patient\")"),
        merging.debug("Accepted update for actionRequests with 2 entries."),
        merging.debug("Existing actionRequests has 0 entries."),
        merging.debug("Filter keys: (\"patient\") , context keys: ()"),
        merging.debug("No overlap found. Reject update."),
    };
    QCOMPARE(log.lines(merging.category), expected);
}

void tst_EntryMerging::existingMatchingItemsHasAlwaysZero()
{
    Stores stores;
    const Variant merging = variant("matchingItems", stores);
    stores.put("a", R"({"matchingItems":[{"id":"1"},{"id":"2"}]})");
    support::LogCapture log;
    merging.behaviour->handle(merging.chunk("{}", R"([{"resource":{"id":"3"}}])"));
    const QVector<support::LogLine> expected{
        merging.debug("Chunk received:  QJsonValue(string, \"lab\")"),
        merging.debug("Empty filter. Add to all contexts."),
        merging.debug("Filter keys: () , context keys: (\"matchingItems\")"),
        merging.debug("Filter patient: QJsonValue(undefined)"),
        merging.debug("Context patient: QJsonValue(undefined)"),
        merging.debug("Accepted update for matchingItems with 1 entries."),
        merging.debug("Existing matchingItems has 0 entries."),
    };
    QCOMPARE(log.lines(merging.category), expected);
}

void tst_EntryMerging::resourceWithoutIdIsWarnedOfForEachContext()
{
    Stores stores;
    const Variant merging = variant("matchingItems", stores);
    stores.put("a", R"({"p":1})");
    stores.put("b", R"({"p":2})");
    stores.put("c", R"({"p":1})");
    support::LogCapture log(latin1("ch.brenlo.*.debug=false"));
    merging.behaviour->handle(merging.chunk(
        R"({"p":1})", R"([{"resource":{"v":1}},{"resource":{}},{"resource":{"id":null}}])"));
    const support::LogLine first = merging.warning(
        "Chunk sent by  QJsonValue(string, \"lab\")  contained an entry for matchingItem with an "
        "undefined \"id\" entry. Proceeding anyways:  QJsonObject({\"v\":1})");
    const support::LogLine second = merging.warning(
        "Chunk sent by  QJsonValue(string, \"lab\")  contained an entry for matchingItem with an "
        "undefined \"id\" entry. Proceeding anyways:  QJsonObject()");
    const QVector<support::LogLine> expected{first, second, first, second};
    QCOMPARE(log.lines(), expected);
    QCOMPARE(stores.at("a"), json(R"({"p":1,"matchingItems":[{"v":1},{"id":null}]})"));
}

void tst_EntryMerging::sourceOfAnyTypeIsPrintedAsAValue()
{
    Stores stores;
    const Variant merging = variant("matchingItems", stores);
    support::LogCapture log;
    merging.behaviour->handle(merging.chunk("{}", "[]", "[1]"));
    QCOMPARE(log.lines().first(),
             merging.debug("Chunk received:  QJsonValue(array, QJsonArray([1]))"));
}

void tst_EntryMerging::typeMismatchInTheFilterIsLoggedAndRejects()
{
    Stores stores;
    const Variant merging = variant("actionRequests", stores);
    stores.put("a", R"({"p":1})");
    support::LogCapture log;
    merging.behaviour->handle(merging.chunk(R"({"p":"1"})", R"([{"resource":{"id":"1"}}])"));
    const QVector<support::LogLine> expected{
        merging.debug("Chunk received:  QJsonValue(string, \"lab\")"),
        merging.debug("Filter keys: (\"p\") , context keys: (\"p\")"),
        merging.warning("Value type comparison not defined."),
        merging.debug("QJsonValue(string, \"1\")"),
        merging.debug("QJsonValue(double, 1)"),
        merging.debug("No overlap found. Reject update."),
    };
    QCOMPARE(log.lines(), expected);
    QCOMPARE(stores.at("a"), json(R"({"p":1})"));
}

void tst_EntryMerging::nothingIsTracedWhenDebugIsOff()
{
    Stores stores;
    const Variant merging = variant("matchingItems", stores);
    stores.put("a", "{}");
    support::LogCapture log(latin1("ch.brenlo.*.debug=false"));
    merging.behaviour->handle(merging.chunk("{}", R"([{"resource":{"id":"1"}}])"));
    QVERIFY(log.lines().isEmpty());
    QCOMPARE(stores.at("a"), json(R"({"matchingItems":[{"id":"1"}]})"));
}

void tst_EntryMerging::mergeIsAnnouncedBySignalButNotByChunk()
{
    Stores stores;
    const Variant merging = variant("matchingItems", stores);
    stores.put("a", "{}");
    QSignalSpy changed(&stores.contexts, &ContextService::contextChanged);
    const QJsonValue chunk = merging.chunk("{}", R"([{"resource":{"id":"1"}}])");
    merging.behaviour->handle(chunk);
    QCOMPARE(changed.count(), 1);
    QCOMPARE(changed.first().at(0).toString(), latin1("a"));
    QCOMPARE(changed.first().at(1).toJsonValue(), json(R"({"matchingItems":[{"id":"1"}]})"));
    merging.behaviour->handle(chunk); // the same items again are no change
    QCOMPARE(changed.count(), 1);
    QVERIFY(stores.publisher.chunks().isEmpty());
}

void tst_EntryMerging::readingAContextCountsAsUse()
{
    QTemporaryDir directory;
    const QString path = directory.filePath(latin1("settings.ini"));
    QSettings(path, QSettings::IniFormat).setValue(latin1("ch.brenlo.kavo-service.context/ttl"), 1);
    qputenv("BR_SETTINGS_INI_FILE", path.toLocal8Bit());
    Stores stores;
    qunsetenv("BR_SETTINGS_INI_FILE");
    const Variant merging = variant("matchingItems", stores);
    stores.put("a", "{}");
    stores.clock.advance(60000);
    merging.behaviour->handle(merging.chunk(R"({"p":1})", "[]"));
    auto *collector = stores.contexts.findChild<QTimer *>();
    QVERIFY(collector);
    const auto collect = [collector] {
        return QMetaObject::invokeMethod(collector, "timeout", Qt::DirectConnection);
    };
    QVERIFY(collect());
    QCOMPARE(stores.contexts.contextIds(), QStringList{latin1("a")});
    QVERIFY(collect()); // not used since
    QVERIFY(stores.contexts.contextIds().isEmpty());
}

void tst_EntryMerging::nullContextIsCreatedByTheMerge()
{
    Stores stores;
    const Variant merging = variant("matchingItems", stores);
    stores.at("asked-for"); // leaves a null behind
    merging.behaviour->handle(merging.chunk("{}", R"([{"resource":{"id":"1"}}])"));
    QCOMPARE(stores.at("asked-for"), json(R"({"matchingItems":[{"id":"1"}]})"));
}

void tst_EntryMerging::contextOfAnotherTypeStaysAsItIs()
{
    Stores stores;
    const Variant merging = variant("matchingItems", stores);
    stores.put("a", "[1]");
    merging.behaviour->handle(merging.chunk("{}", R"([{"resource":{"id":"1"}}])"));
    QCOMPARE(stores.at("a"), json("[1]"));
}

void tst_EntryMerging::contextsThatComeToBeDuringTheWalkAreLeftOut()
{
    QFETCH(QByteArray, key);
    Stores stores;
    const Variant merging = variant(key, stores);
    stores.put("a", "{}");
    QObject::connect(&stores.contexts, &ContextService::contextChanged, &stores.contexts,
                     [&stores](const QString &id, const QJsonValue &) {
                         if (id == latin1("a"))
                             stores.put("b", R"({"x":1})");
                     });
    merging.behaviour->handle(merging.chunk("{}", R"([{"resource":{"id":"1"}}])"));
    QCOMPARE(stores.at("a"), json("{\"" + key + "\":[{\"id\":\"1\"}]}"));
    QCOMPARE(stores.at("b"), json(R"({"x":1})"));
}

QTEST_GUILESS_MAIN(tst_EntryMerging)
#include "tst_entrymerging.moc"
