// What stands before what inside one call of the store: whoever hears of it may act on the store at
// once, and finds it in one state and no other.
#include "contextfixture.h"

#include "chunk/chunkbehaviour.h"

#include <QtTest/QtTest>

#include <functional>
#include <utility>

using support::LogLine;

namespace {

const QString Id = QStringLiteral("id");
constexpr qint32 Period = 60000;

/// Does `action` inside the next publish only.
void onNextPublish(ContextFixture &f, std::function<void(const QJsonObject &)> action)
{
    f.publisher.onPublish = [&f, action = std::move(action)](const QJsonValue &chunk) {
        const auto now = action; // outlives what follows
        f.publisher.onPublish = nullptr;
        now(chunk.toObject());
    };
}

/// Counts its chunks, and hands one to everybody when it is deleted.
class DispatchingBehaviour final : public ChunkBehaviour
{
public:
    DispatchingBehaviour(ContextService *service, int *chunks)
        : m_service(service)
        , m_chunks(chunks)
    {
    }
    ~DispatchingBehaviour() override { m_service->dispatchChunk(QJsonObject()); }

    void handle(const QJsonValue & /*chunk*/) override { ++*m_chunks; }

private:
    ContextService *m_service;
    int *m_chunks;
};

} // namespace

class TestContextOrder : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void createdIsPublishedBeforeItsUseIsMarked();
    void removedIsPublishedAfterItsUseIsForgotten();
    void changedIsPublishedAfterItsUseIsMarked();
    void changedIsPublishedAfterTheValueIsStored();
    void creatingRemovingAndReadingLogNothing_data();
    void creatingRemovingAndReadingLogNothing();
    void logOfAnArrayOverAnObject();
    void logOfARemovalByNullComesBeforeIt();
    void oldBehavioursAreDeletedBeforeNewOnesAreTakenOver();
};

void TestContextOrder::createdIsPublishedBeforeItsUseIsMarked()
{
    ContextFixture f;
    onNextPublish(f, [&f](const QJsonObject &chunk) {
        const QJsonObject data = chunk.value(QLatin1String("data")).toObject();
        f.service->setContext(data.value(QLatin1String("contextId")).toString(), QJsonObject());
        f.clock.advance(Period);
    });
    const QString id = f.service->createContext();
    f.service->collectGarbage(Period);
    QCOMPARE(f.service->contextIds(), QStringList{id}); // of the mark that came afterwards
}

void TestContextOrder::removedIsPublishedAfterItsUseIsForgotten()
{
    ContextFixture f;
    f.service->setContext(Id, object(R"({"a":1})"));
    onNextPublish(f,
                  [&f](const QJsonObject &) { f.service->setContext(Id, object(R"({"b":1})")); });
    f.service->removeContext(Id);
    f.service->collectGarbage(Period);
    QCOMPARE(f.service->contextIds(), QStringList{Id}); // the mark of the new one is still there
}

void TestContextOrder::changedIsPublishedAfterItsUseIsMarked()
{
    ContextFixture f;
    onNextPublish(f, [&f](const QJsonObject &) { f.service->collectGarbage(Period); });
    f.service->setContext(Id, object(R"({"a":1})"));
    QCOMPARE(f.service->contextIds(), QStringList{Id});
    QVERIFY(f.removed.isEmpty());

    f.clock.advance(Period);
    onNextPublish(f, [&f](const QJsonObject &) { f.service->collectGarbage(Period); });
    f.service->setContext(Id, object(R"({"a":2})"));
    QCOMPARE(f.service->contextIds(), QStringList{Id});
    QVERIFY(f.removed.isEmpty());
}

void TestContextOrder::changedIsPublishedAfterTheValueIsStored()
{
    ContextFixture f;
    f.service->setContext(Id, object(R"({"a":1,"matchingItems":[1]})"));
    QJsonValue found;
    onNextPublish(f, [&](const QJsonObject &) { found = f.service->context(Id); });
    f.service->setContext(Id, object(R"({"a":2,"matchingItems":[1]})"));
    QCOMPARE(found, QJsonValue(object(R"({"a":2,"matchingItems":[]})")));
}

void TestContextOrder::creatingRemovingAndReadingLogNothing_data()
{
    QTest::addColumn<bool>("attached");
    QTest::newRow("with a host") << true;
    QTest::newRow("without") << false;
}

void TestContextOrder::creatingRemovingAndReadingLogNothing()
{
    QFETCH(bool, attached);
    ContextFixture f;
    f.service->setContext(Id, object(R"({"a":1})"));
    f.forget();
    if (!attached)
        f.host.publisher = nullptr;
    support::LogCapture log;
    f.service->createContext();
    f.service->context(Id);
    f.service->contextIds();
    f.service->removeContext(Id);
    f.service->removeContext(Id);
    QCOMPARE(log.lines(), QVector<LogLine>());
    QCOMPARE(f.publisher.chunks().size(), attached ? 3 : 0);
}

void TestContextOrder::logOfAnArrayOverAnObject()
{
    ContextFixture f;
    f.service->setContext(Id, object(R"({"a":1})"));
    support::LogCapture log;
    f.service->setContext(Id, array("[1]"));
    const QVector<LogLine> expected{
        {QtDebugMsg, serviceCategory(),
         QStringLiteral(R"(Setting context "id" to array "[\n    1\n]\n")")},
        {QtDebugMsg, serviceCategory(), QStringLiteral("Context changed. Current keys: ()")}};
    QCOMPARE(log.lines(), expected);
}

void TestContextOrder::logOfARemovalByNullComesBeforeIt()
{
    ContextFixture f;
    f.service->setContext(Id, object(R"({"a":1})"));
    support::LogCapture log;
    int linesAtPublish = 0;
    onNextPublish(f, [&](const QJsonObject &) { linesAtPublish = log.lines().size(); });
    f.service->setContext(Id, QJsonValue::Null);
    const QVector<LogLine> expected{
        {QtDebugMsg, serviceCategory(),
         QStringLiteral("Setting context \"id\" to unknown QJsonValue(null)")}};
    QCOMPARE(log.lines(), expected);
    QCOMPARE(linesAtPublish, 1);
}

void TestContextOrder::oldBehavioursAreDeletedBeforeNewOnesAreTakenOver()
{
    ContextFixture f;
    int chunks = 0;
    std::vector<std::unique_ptr<ChunkBehaviour>> list;
    list.push_back(std::make_unique<DispatchingBehaviour>(f.service.get(), &chunks));
    f.service->setBehaviours(std::move(list));
    list.clear();
    list.push_back(std::make_unique<DispatchingBehaviour>(f.service.get(), &chunks));
    f.service->setBehaviours(std::move(list));
    QCOMPARE(chunks, 0); // neither the old one nor the new one is there to hear the last words
    f.service->dispatchChunk(QJsonObject());
    QCOMPARE(chunks, 1);
    f.service->setBehaviours({});
}

QTEST_GUILESS_MAIN(TestContextOrder)
#include "tst_contextorder.moc"
