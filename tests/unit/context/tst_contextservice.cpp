#include "contextfixture.h"

#include "chunk/chunkbehaviour.h"
#include "context/contextid.h"

#include <QtTest/QtTest>

#include <functional>

namespace {

const QString Id = QStringLiteral("id");

/// Writes its name into a list when it is called and when it is deleted.
class TracingBehaviour final : public ChunkBehaviour
{
public:
    TracingBehaviour(const char *name, QStringList *trace, std::function<void()> action = {})
        : m_name(QString::fromLatin1(name))
        , m_trace(trace)
        , m_action(std::move(action))
    {
    }
    ~TracingBehaviour() override { m_trace->append(QLatin1Char('~') + m_name); }

    void handle(const QJsonValue &chunk) override
    {
        m_trace->append(m_name + chunk.toString());
        if (m_action)
            m_action();
        m_trace->append(m_name + QLatin1String(" done"));
    }

private:
    QString m_name;
    QStringList *m_trace;
    std::function<void()> m_action;
};

std::vector<std::unique_ptr<ChunkBehaviour>> behaviours(QStringList *trace,
                                                        std::initializer_list<const char *> names)
{
    std::vector<std::unique_ptr<ChunkBehaviour>> list;
    for (const char *name : names)
        list.push_back(std::make_unique<TracingBehaviour>(name, trace));
    return list;
}

QStringList texts(std::initializer_list<const char *> list)
{
    QStringList result;
    for (const char *text : list)
        result.append(QString::fromUtf8(text));
    return result;
}

/// A clock that somebody sets back by an hour during each of the first sleeps.
class SetBackClock final : public Clock
{
public:
    static constexpr qint64 Hour = 3600000;

    SetBackClock(qint64 now, int times)
        : m_now(now)
        , m_times(times)
    {
    }

    qint64 now() const override { return m_now; }

    void sleepUntil(qint64 moment) override
    {
        m_moments.append(moment);
        m_now = m_moments.size() <= m_times ? m_now - Hour : moment;
    }

    const QVector<qint64> &moments() const { return m_moments; }

private:
    qint64 m_now;
    int m_times;
    QVector<qint64> m_moments;
};

using support::LogLine;

LogLine debugLine(const char *text)
{
    return {QtDebugMsg, serviceCategory(), QString::fromUtf8(text)};
}

} // namespace

class TestContextService : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void unknownContextReadsAsNullAndIsEntered();
    void contextIdsAreInAscendingOrder();
    void setContextReplacesTheValue();
    void valuesThatAreNeitherObjectsNorNullAreStoredUnchanged_data();
    void valuesThatAreNeitherObjectsNorNullAreStoredUnchanged();
    void setArrayOverObjectStoresAnEmptyObject();
    void specialMembersAloneKeepMatchingItems_data();
    void specialMembersAloneKeepMatchingItems();
    void ordinaryMemberEmptiesMatchingItems();
    void firstObjectKeepsMatchingItems();
    void droppedMemberIsGone();
    void setNullRemovesTheContext();

    void updateOfUnknownContextStoresTheValueAndReturnsIt();
    void updateOfUnknownContextWithNullLeavesNothing();
    void updateMergesShallowly();
    void updateStoresNullMembers();
    void updateReturnsTheMergedNotTheStoredObject();
    void updateWithArrayOnObjectChangesNothingAndReturnsNull();
    void updateOfStoredArrayChangesNothingAndReturnsNull();

    void removedContextIsForgotten();

    void createdIdFollowsFromTheSecond();
    void createdIdIsNotStored();
    void createTwiceInASecondGivesTheSameIdWhileItIsNotSet();
    void createTwiceInASecondWaitsForTheNextOnceItIsSet();
    void createKeepsDrawingWhileIdsAreTaken();
    void createDrawsFromTheEarlierSecondOfAClockSetBack();
    void createWaitsForTheEndOfTheEarlierSecondWhenThatIsTakenToo();
    void idTakenByANullCountsAsTaken();

    void chunksGoToBehavioursInListOrder();
    void chunkWithoutBehavioursIsIgnored();
    void newBehavioursReplaceTheOldLastFirst();
    void destructionDeletesBehavioursLastFirst();
    void behaviourMayDispatchAgain();
    void behaviourMayReplaceTheBehaviours();
    void destructionNeedsNeitherHostHandleNorFileStore();

    void logOfSettingAnObject();
    void logOfSettingAnArray();
    void logOfSettingSomethingElse_data();
    void logOfSettingSomethingElse();
    void logOfChangedKeys();
    void logWithoutChangedKeys();
    void nothingIsLoggedWithDebugOff();
};

void TestContextService::unknownContextReadsAsNullAndIsEntered()
{
    ContextFixture f;
    QVERIFY(f.service->context(Id).isNull());
    QCOMPARE(f.service->contextIds(), QStringList{Id});
    QVERIFY(f.service->context(Id).isNull());
    QVERIFY(f.steps.isEmpty());
}

void TestContextService::contextIdsAreInAscendingOrder()
{
    ContextFixture f;
    for (const char *id : {"b", "", "a", "B", "10", "9"})
        f.service->setContext(QString::fromLatin1(id), QJsonObject());
    QCOMPARE(f.service->contextIds(), texts({"", "10", "9", "B", "a", "b"}));
}

void TestContextService::setContextReplacesTheValue()
{
    ContextFixture f;
    f.service->setContext(Id, object(R"({"a":1,"b":2})"));
    QCOMPARE(f.service->context(Id), QJsonValue(object(R"({"a":1,"b":2})")));
    f.service->setContext(Id, object(R"({"a":1,"b":2,"inbox":[]})"));
    QCOMPARE(f.service->context(Id), QJsonValue(object(R"({"a":1,"b":2,"inbox":[]})")));
}

void TestContextService::valuesThatAreNeitherObjectsNorNullAreStoredUnchanged_data()
{
    QTest::addColumn<QJsonValue>("value");
    QTest::newRow("array") << QJsonValue(array(R"([1,{"matchingItems":[2]}])"));
    QTest::newRow("text") << QJsonValue(QStringLiteral("text"));
    QTest::newRow("number") << QJsonValue(1.5);
    QTest::newRow("truth") << QJsonValue(true);
    QTest::newRow("undefined") << QJsonValue(QJsonValue::Undefined);
}

void TestContextService::valuesThatAreNeitherObjectsNorNullAreStoredUnchanged()
{
    QFETCH(QJsonValue, value);
    ContextFixture f;
    f.service->setContext(Id, value);
    QCOMPARE(f.service->context(Id), value);
    f.service->setContext(Id, 7);
    f.service->setContext(Id, value);
    QCOMPARE(f.service->context(Id), value);
    f.service->setContext(Id, object(R"({"a":1})"));
    QCOMPARE(f.service->context(Id), QJsonValue(object(R"({"a":1})")));
}

void TestContextService::setArrayOverObjectStoresAnEmptyObject()
{
    ContextFixture f;
    f.service->setContext(Id, object(R"({"a":1,"matchingItems":[1]})"));
    f.service->setContext(Id, array("[1,2]"));
    QCOMPARE(f.service->context(Id), QJsonValue(QJsonObject()));
}

void TestContextService::specialMembersAloneKeepMatchingItems_data()
{
    QTest::addColumn<QJsonObject>("change");
    QTest::newRow("matchingItems") << object(R"({"matchingItems":[3]})");
    QTest::newRow("actionRequests") << object(R"({"actionRequests":[3]})");
    QTest::newRow("inbox") << object(R"({"inbox":3})");
    QTest::newRow("attachments") << object(R"({"attachments":[3]})");
}

void TestContextService::specialMembersAloneKeepMatchingItems()
{
    QFETCH(QJsonObject, change);
    ContextFixture f;
    QJsonObject value = object(R"({"patient":1,"matchingItems":[1,2]})");
    f.service->setContext(Id, value);
    value.insert(change.constBegin().key(), change.constBegin().value());
    f.service->setContext(Id, value);
    QCOMPARE(f.service->context(Id), QJsonValue(value));
}

void TestContextService::ordinaryMemberEmptiesMatchingItems()
{
    ContextFixture f;
    f.service->setContext(Id, object(R"({"patient":1,"matchingItems":[1]})"));
    f.service->setContext(Id, object(R"({"patient":2,"matchingItems":[1,2],"inbox":5})"));
    QCOMPARE(f.service->context(Id),
             QJsonValue(object(R"({"patient":2,"matchingItems":[],"inbox":5})")));
    f.service->setContext(Id, object(R"({"patient":3})"));
    QCOMPARE(f.service->context(Id), QJsonValue(object(R"({"patient":3,"matchingItems":[]})")));
}

void TestContextService::firstObjectKeepsMatchingItems()
{
    ContextFixture f;
    f.service->setContext(Id, object(R"({"patient":1,"matchingItems":[1]})"));
    QCOMPARE(f.service->context(Id), QJsonValue(object(R"({"patient":1,"matchingItems":[1]})")));
}

void TestContextService::droppedMemberIsGone()
{
    ContextFixture f;
    f.service->setContext(Id, object(R"({"a":1,"b":2,"matchingItems":[1]})"));
    f.service->setContext(Id, object(R"({"a":1,"matchingItems":[1]})"));
    QCOMPARE(f.service->context(Id), QJsonValue(object(R"({"a":1,"matchingItems":[1]})")));
}

void TestContextService::setNullRemovesTheContext()
{
    ContextFixture f;
    f.service->setContext(Id, object(R"({"a":1})"));
    f.service->setContext(Id, QJsonValue::Null);
    QVERIFY(f.service->contextIds().isEmpty());
}

void TestContextService::updateOfUnknownContextStoresTheValueAndReturnsIt()
{
    ContextFixture f;
    const QJsonValue value = array("[1]");
    QCOMPARE(f.service->updateContext(Id, value), value);
    QCOMPARE(f.service->context(Id), value);
}

void TestContextService::updateOfUnknownContextWithNullLeavesNothing()
{
    ContextFixture f;
    QVERIFY(f.service->updateContext(Id, QJsonValue::Null).isNull());
    QVERIFY(f.service->contextIds().isEmpty());
    QCOMPARE(f.publisher.on(QStringLiteral("context-removed")).size(), 1);
}

void TestContextService::updateMergesShallowly()
{
    ContextFixture f;
    f.service->setContext(Id, object(R"({"a":{"x":1},"b":2,"c":"text"})"));
    const QJsonObject merged = object(R"({"a":{"y":1},"b":2,"c":"other"})");
    QCOMPARE(f.service->updateContext(Id, object(R"({"a":{"y":1},"c":"other"})")),
             QJsonValue(merged));
    QJsonObject stored = merged;
    stored.insert(QStringLiteral("matchingItems"), QJsonArray());
    QCOMPARE(f.service->context(Id), QJsonValue(stored));
}

void TestContextService::updateStoresNullMembers()
{
    ContextFixture f;
    f.service->setContext(Id, object(R"({"a":1})"));
    f.service->updateContext(Id, object(R"({"a":null})"));
    QCOMPARE(f.service->context(Id), QJsonValue(object(R"({"a":null,"matchingItems":[]})")));
}

void TestContextService::updateReturnsTheMergedNotTheStoredObject()
{
    ContextFixture f;
    f.service->setContext(Id, object(R"({"patient":1,"matchingItems":[1]})"));
    QCOMPARE(f.service->updateContext(Id, object(R"({"patient":2})")),
             QJsonValue(object(R"({"patient":2,"matchingItems":[1]})")));
    QCOMPARE(f.service->context(Id), QJsonValue(object(R"({"patient":2,"matchingItems":[]})")));
}

void TestContextService::updateWithArrayOnObjectChangesNothingAndReturnsNull()
{
    ContextFixture f;
    f.service->setContext(Id, object(R"({"a":1})"));
    f.forget();
    QVERIFY(f.service->updateContext(Id, array("[1]")).isNull());
    QVERIFY(f.service->updateContext(Id, QJsonValue::Null).isNull());
    QCOMPARE(f.service->context(Id), QJsonValue(object(R"({"a":1})")));
    QVERIFY(f.steps.isEmpty());
}

void TestContextService::updateOfStoredArrayChangesNothingAndReturnsNull()
{
    ContextFixture f;
    f.service->setContext(Id, array("[1]"));
    f.forget();
    QVERIFY(f.service->updateContext(Id, object(R"({"a":1})")).isNull());
    QVERIFY(f.service->updateContext(Id, array("[2]")).isNull());
    QCOMPARE(f.service->context(Id), QJsonValue(array("[1]")));
    QVERIFY(f.steps.isEmpty());
}

void TestContextService::removedContextIsForgotten()
{
    ContextFixture f;
    f.service->setContext(Id, object(R"({"a":1})"));
    f.service->removeContext(Id);
    QVERIFY(f.service->contextIds().isEmpty());
    QVERIFY(f.service->context(Id).isNull());
}

void TestContextService::createdIdFollowsFromTheSecond()
{
    ContextFixture f;
    f.clock.set(1600000000999);
    QCOMPARE(f.service->createContext(), contextIdOfSecond(1600000000));
    f.clock.advance(1);
    QCOMPARE(f.service->createContext(), contextIdOfSecond(1600000001));
    QCOMPARE(f.clock.sleeps(), 0);
}

void TestContextService::createdIdIsNotStored()
{
    ContextFixture f;
    f.service->createContext();
    QVERIFY(f.service->contextIds().isEmpty());
}

void TestContextService::createTwiceInASecondGivesTheSameIdWhileItIsNotSet()
{
    ContextFixture f;
    const QString id = f.service->createContext();
    QCOMPARE(f.service->createContext(), id);
    QCOMPARE(f.clock.sleeps(), 0);
}

void TestContextService::createTwiceInASecondWaitsForTheNextOnceItIsSet()
{
    ContextFixture f;
    f.clock.set(1600000000250);
    const QString id = f.service->createContext();
    f.service->setContext(id, QJsonObject());
    const QString next = f.service->createContext();
    QVERIFY(next != id);
    QCOMPARE(next, contextIdOfSecond(1600000001));
    QCOMPARE(f.clock.sleeps(), 1);
    QCOMPARE(f.clock.now(), qint64(1600000001000));
}

void TestContextService::createKeepsDrawingWhileIdsAreTaken()
{
    ContextFixture f;
    f.clock.set(1600000000000);
    for (qint64 second = 1600000000; second < 1600000005; ++second)
        f.service->setContext(contextIdOfSecond(second), QJsonObject());
    QCOMPARE(f.service->createContext(), contextIdOfSecond(1600000005));
    QCOMPARE(f.clock.sleeps(), 5);
}

void TestContextService::createDrawsFromTheEarlierSecondOfAClockSetBack()
{
    const support::SettingsSandbox sandbox;
    const HostHandle host;
    FileService files;
    SetBackClock clock(1600000000250, 1);
    ContextService service(&host, &files, &clock);
    service.setContext(service.createContext(), QJsonObject());
    QCOMPARE(service.createContext(), contextIdOfSecond(1600000000 - 3600));
    QCOMPARE(clock.moments(), (QVector<qint64>{1600000001000}));
}

void TestContextService::createWaitsForTheEndOfTheEarlierSecondWhenThatIsTakenToo()
{
    const support::SettingsSandbox sandbox;
    const HostHandle host;
    FileService files;
    SetBackClock clock(1600000000250, 1);
    ContextService service(&host, &files, &clock);
    for (const qint64 second : {1600000000, 1600000000 - 3600})
        service.setContext(contextIdOfSecond(second), QJsonObject());
    QCOMPARE(service.createContext(), contextIdOfSecond(1600000001 - 3600));
    QCOMPARE(clock.moments(), (QVector<qint64>{1600000001000, 1600000001000 - SetBackClock::Hour}));
}

void TestContextService::idTakenByANullCountsAsTaken()
{
    ContextFixture f;
    const QString id = f.service->createContext();
    f.service->context(id);
    QVERIFY(f.service->createContext() != id);
}

void TestContextService::chunksGoToBehavioursInListOrder()
{
    ContextFixture f;
    QStringList trace;
    f.service->setBehaviours(behaviours(&trace, {"a", "b", "c"}));
    f.service->dispatchChunk(QStringLiteral("!"));
    QCOMPARE(trace, texts({"a!", "a done", "b!", "b done", "c!", "c done"}));
    f.service.reset();
}

void TestContextService::chunkWithoutBehavioursIsIgnored()
{
    ContextFixture f;
    f.service->dispatchChunk(QJsonObject());
    f.service->setBehaviours({});
    f.service->dispatchChunk(QJsonObject());
    QVERIFY(f.steps.isEmpty());
    QVERIFY(f.service->contextIds().isEmpty());
}

void TestContextService::newBehavioursReplaceTheOldLastFirst()
{
    ContextFixture f;
    QStringList trace;
    f.service->setBehaviours(behaviours(&trace, {"a", "b", "c"}));
    f.service->setBehaviours(behaviours(&trace, {"d"}));
    QCOMPARE(trace, texts({"~c", "~b", "~a"}));
    f.service->dispatchChunk(QStringLiteral("!"));
    QCOMPARE(trace.mid(3), texts({"d!", "d done"}));
    f.service.reset();
}

void TestContextService::destructionDeletesBehavioursLastFirst()
{
    ContextFixture f;
    QStringList trace;
    f.service->setBehaviours(behaviours(&trace, {"a", "b", "c"}));
    f.service.reset();
    QCOMPARE(trace, texts({"~c", "~b", "~a"}));
}

void TestContextService::behaviourMayDispatchAgain()
{
    ContextFixture f;
    QStringList trace;
    int depth = 0;
    std::vector<std::unique_ptr<ChunkBehaviour>> list;
    list.push_back(std::make_unique<TracingBehaviour>("a", &trace, [&] {
        if (depth++ == 0)
            f.service->dispatchChunk(QStringLiteral("2"));
    }));
    list.push_back(std::make_unique<TracingBehaviour>("b", &trace));
    f.service->setBehaviours(std::move(list));
    f.service->dispatchChunk(QStringLiteral("1"));
    QCOMPARE(trace, texts({"a1", "a2", "a done", "b2", "b done", "a done", "b1", "b done"}));
    f.service.reset();
}

void TestContextService::behaviourMayReplaceTheBehaviours()
{
    ContextFixture f;
    QStringList trace;
    std::vector<std::unique_ptr<ChunkBehaviour>> list;
    list.push_back(std::make_unique<TracingBehaviour>("a", &trace, [&] {
        f.service->setBehaviours(behaviours(&trace, {"c"}));
        f.service->dispatchChunk(QStringLiteral("2"));
    }));
    list.push_back(std::make_unique<TracingBehaviour>("b", &trace));
    f.service->setBehaviours(std::move(list));
    f.service->dispatchChunk(QStringLiteral("1"));
    QCOMPARE(trace, texts({"a1", "c2", "c done", "a done", "b1", "b done", "~b", "~a"}));
    f.service.reset();
}

/// Shows something only in the build with the address sanitizer, which ends a program that reads
/// what is freed.
void TestContextService::destructionNeedsNeitherHostHandleNorFileStore()
{
    const support::SettingsSandbox sandbox;
    support::MovableClock clock;
    auto host = std::make_unique<HostHandle>();
    auto files = std::make_unique<FileService>();
    auto service = std::make_unique<ContextService>(host.get(), files.get(), &clock);
    service->setContext(Id, QJsonObject());
    QPointer<ContextService> alive = service.get();
    files.reset();
    host.reset();
    service.reset();
    QVERIFY(alive.isNull());
}

void TestContextService::logOfSettingAnObject()
{
    ContextFixture f;
    f.host.publisher = nullptr;
    support::LogCapture log;
    f.service->setContext(Id, object(R"({"a":1})"));
    QCOMPARE(
        log.lines(serviceCategory()),
        (QVector<LogLine>{debugLine(R"(Setting context "id" to object "{\n    \"a\": 1\n}\n")")}));
}

void TestContextService::logOfSettingAnArray()
{
    ContextFixture f;
    support::LogCapture log;
    f.service->setContext(Id, array("[1]"));
    QCOMPARE(log.lines(serviceCategory()),
             (QVector<LogLine>{debugLine(R"(Setting context "id" to array "[\n    1\n]\n")")}));
}

void TestContextService::logOfSettingSomethingElse_data()
{
    QTest::addColumn<QJsonValue>("value");
    QTest::addColumn<QString>("printed");
    QTest::newRow("text") << QJsonValue(QStringLiteral("x"))
                          << QStringLiteral(R"(QJsonValue(string, "x"))");
    QTest::newRow("number") << QJsonValue(5) << QStringLiteral("QJsonValue(double, 5)");
    QTest::newRow("null") << QJsonValue() << QStringLiteral("QJsonValue(null)");
}

void TestContextService::logOfSettingSomethingElse()
{
    QFETCH(QJsonValue, value);
    QFETCH(QString, printed);
    ContextFixture f;
    support::LogCapture log;
    f.service->setContext(Id, value);
    QCOMPARE(log.lines(serviceCategory()),
             (QVector<LogLine>{{QtDebugMsg, serviceCategory(),
                                QStringLiteral("Setting context \"id\" to unknown ") + printed}}));
}

void TestContextService::logOfChangedKeys()
{
    ContextFixture f;
    f.host.publisher = nullptr;
    f.service->setContext(Id, object(R"({"a":1,"b":1,"c":1})"));
    support::LogCapture log;
    f.service->setContext(Id, object(R"({"c":2,"b":1,"a":3,"inbox":1})"));
    const QVector<LogLine> lines = log.lines(serviceCategory());
    QCOMPARE(lines.size(), 3);
    QVERIFY(lines.at(0).message.startsWith(QLatin1String("Setting context \"id\" to object ")));
    QCOMPARE(lines.at(1), debugLine(R"(("a", "c") keys changed. Delete matching items.)"));
    QCOMPARE(lines.at(2), debugLine(R"(Context changed. Current keys: )"
                                    R"(("a", "b", "c", "inbox", "matchingItems"))"));
}

void TestContextService::logWithoutChangedKeys()
{
    ContextFixture f;
    f.service->setContext(Id, object(R"({"a":1,"b":1})"));
    support::LogCapture log;
    f.service->setContext(Id, object(R"({"a":1})"));
    QCOMPARE(log.lines(serviceCategory()).mid(1),
             (QVector<LogLine>{debugLine(R"(Context changed. Current keys: ("a"))")}));
    log.clear();
    f.service->setContext(Id, object(R"({"a":1})"));
    QCOMPARE(log.lines(serviceCategory()).mid(1),
             (QVector<LogLine>{debugLine(R"(Context changed. Current keys: ("a"))")}));
}

void TestContextService::nothingIsLoggedWithDebugOff()
{
    ContextFixture f;
    support::LogCapture log(QStringLiteral("*.debug=false"));
    f.service->setContext(Id, object(R"({"a":1})"));
    f.service->updateContext(Id, object(R"({"a":2})"));
    f.service->setContext(Id, array("[]"));
    f.service->setContext(Id, QJsonValue::Null);
    QVERIFY(log.lines().isEmpty());
}

QTEST_GUILESS_MAIN(TestContextService)
#include "tst_contextservice.moc"
