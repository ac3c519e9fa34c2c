#include "contextfixture.h"

#include "chunk/chunkbehaviour.h"
#include "fhir/coding.h"

#include <QtCore/QTimer>
#include <QtTest/QtTest>

#include <functional>

using support::LogLine;

Q_DECLARE_METATYPE(std::function<void(ContextService &)>)

namespace {

const QString Id = QStringLiteral("id");
constexpr qint32 Period = 60000;

QByteArray ttl(const char *value)
{
    return QByteArray("[ch.brenlo.kavo-service.context]\nttl=") + value + '\n';
}

/// Does something when it is deleted.
class LastWill final : public ChunkBehaviour
{
public:
    explicit LastWill(std::function<void()> action)
        : m_action(std::move(action))
    {
    }
    ~LastWill() override { m_action(); }

    void handle(const QJsonValue & /*chunk*/) override {}

private:
    std::function<void()> m_action;
};

using FileOf = QString (support::SettingsSandbox::*)() const;

} // namespace

Q_DECLARE_METATYPE(FileOf)

class TestContextCollector : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void periodFollowsFromTheSetting_data();
    void periodFollowsFromTheSetting();
    void settingThatIsNoIntegerDisables_data();
    void settingThatIsNoIntegerDisables();
    void missingSettingDisables();
    void settingIsReadOnce();
    void settingIsReadFromEverySource_data();
    void settingIsReadFromEverySource();
    void timerRunsThePass();
    void timerHandsThePeriodToThePass();
    void destructionStopsTheTimerBeforeItDeletesTheBehaviours();

    void neverUsedAgainIsRemovedBySecondPass();
    void usedDuringEveryPeriodIsNeverRemoved_data();
    void usedDuringEveryPeriodIsNeverRemoved();
    void markMustLieStrictlyAfterTheThreshold_data();
    void markMustLieStrictlyAfterTheThreshold();
    void createdButNeverSetIsNeverVisited();
    void everyRemovalIsAnnounced();
    void withoutAHostContextsAreRemovedAllTheSame();
    void idReadAsNullIsCollectedWithoutASignal();
    void idsAreVisitedInAscendingOrder();
    void idsRemovedDuringThePassAreStillVisited();
    void contextAddedDuringThePassIsNotVisited();
    void printingIsNoUse();
    void logOfStarting();
    void logOfAPass();
    void deletionIsLoggedBeforeItIsAnnounced();
};

void TestContextCollector::periodFollowsFromTheSetting_data()
{
    QTest::addColumn<QByteArray>("setting");
    QTest::addColumn<int>("period");
    QTest::newRow("one minute") << QByteArray("1") << 60000;
    QTest::newRow("none") << QByteArray("0") << 60000;
    QTest::newRow("negative") << QByteArray("-5") << 60000;
    QTest::newRow("an hour") << QByteArray("60") << 3600000;
    QTest::newRow("the largest that fits") << QByteArray("35791") << 2147460000;
    QTest::newRow("the first to wrap") << QByteArray("35792") << 60000;
    QTest::newRow("wraps to a small positive") << QByteArray("71583") << 60000;
    QTest::newRow("wraps to a large positive") << QByteArray("100000") << 1705032704;
    QTest::newRow("the largest integer") << QByteArray("2147483647") << 60000;
    QTest::newRow("beyond 32 bits, as Qt converts it") << QByteArray("4294967298") << 120000;
    QTest::newRow("negative that wraps to a positive") << QByteArray("-35792") << 2147447296;
    QTest::newRow("blanks and a sign") << QByteArray("\" +2 \"") << 120000;
}

void TestContextCollector::periodFollowsFromTheSetting()
{
    QFETCH(QByteArray, setting);
    QFETCH(int, period);
    ContextFixture f(ttl(setting.constData()));
    const QList<QTimer *> timers = f.service->findChildren<QTimer *>();
    QCOMPARE(timers.size(), 1);
    QCOMPARE(timers.at(0)->interval(), period);
    QVERIFY(timers.at(0)->isActive());
    QVERIFY(!timers.at(0)->isSingleShot());
}

void TestContextCollector::settingThatIsNoIntegerDisables_data()
{
    QTest::addColumn<QByteArray>("setting");
    for (const char *setting : {"", "never", "1.5", "5,6", "0x10", "9223372036854775808", "true"})
        QTest::newRow(*setting ? setting : "empty") << QByteArray(setting);
}

void TestContextCollector::settingThatIsNoIntegerDisables()
{
    QFETCH(QByteArray, setting);
    support::LogCapture log;
    ContextFixture f(ttl(setting.constData()));
    QVERIFY(!f.service->findChild<QTimer *>());
    QVERIFY(log.lines(serviceCategory()).isEmpty());
}

void TestContextCollector::missingSettingDisables()
{
    ContextFixture f;
    QVERIFY(!f.service->findChild<QTimer *>());
}

void TestContextCollector::settingIsReadOnce()
{
    ContextFixture f(ttl("1"));
    f.sandbox.writeNamed(ttl("30"));
    f.service->collectGarbage(Period);
    QCOMPARE(f.service->findChild<QTimer *>()->interval(), 60000);
}

void TestContextCollector::timerRunsThePass()
{
    ContextFixture f(ttl("1"));
    f.service->setContext(Id, QJsonObject());
    f.clock.advance(Period);
    // The timeout comes by hand: the clock that counts is the test's.
    QVERIFY(QMetaObject::invokeMethod(f.service->findChild<QTimer *>(), "timeout"));
    QVERIFY(f.service->contextIds().isEmpty());
}

void TestContextCollector::settingIsReadFromEverySource_data()
{
    using Sandbox = support::SettingsSandbox;
    QTest::addColumn<FileOf>("file");
    QTest::newRow("folder of the program") << FileOf(&Sandbox::executableFile);
    QTest::newRow("system-wide") << FileOf(&Sandbox::systemFile);
    QTest::newRow("configuration folder") << FileOf(&Sandbox::configurationFile);
    QTest::newRow("user") << FileOf(&Sandbox::userFile);
}

void TestContextCollector::settingIsReadFromEverySource()
{
    QFETCH(FileOf, file);
    const support::SettingsSandbox sandbox;
    QVERIFY(support::SettingsSandbox::write((sandbox.*file)(), ttl("3")));
    const HostHandle host;
    FileService files;
    support::MovableClock clock;
    const ContextService service(&host, &files, &clock);
    const QTimer *timer = service.findChild<QTimer *>();
    QVERIFY(timer);
    QCOMPARE(timer->interval(), 180000);
}

void TestContextCollector::timerHandsThePeriodToThePass()
{
    ContextFixture f(ttl("2"));
    f.service->setContext(Id, QJsonObject());
    f.clock.advance(90000);
    f.service->setContext(QStringLiteral("young"), QJsonObject());
    f.clock.advance(29999);
    QVERIFY(QMetaObject::invokeMethod(f.service->findChild<QTimer *>(), "timeout"));
    QCOMPARE(f.service->contextIds(), (QStringList{Id, QStringLiteral("young")}));
    f.service->context(Id);
    f.service->context(QStringLiteral("young"));
    f.clock.advance(90000);
    f.service->context(QStringLiteral("young"));
    f.clock.advance(30000);
    QVERIFY(QMetaObject::invokeMethod(f.service->findChild<QTimer *>(), "timeout"));
    QCOMPARE(f.service->contextIds(), QStringList{QStringLiteral("young")});
}

void TestContextCollector::destructionStopsTheTimerBeforeItDeletesTheBehaviours()
{
    ContextFixture f(ttl("1"));
    const QPointer<QTimer> timer = f.service->findChild<QTimer *>();
    bool active = true;
    std::vector<std::unique_ptr<ChunkBehaviour>> behaviours;
    behaviours.push_back(
        std::make_unique<LastWill>([&] { active = timer.isNull() || timer->isActive(); }));
    f.service->setBehaviours(std::move(behaviours));
    QVERIFY(timer->isActive());
    f.service.reset();
    QVERIFY(!active);
    QVERIFY(timer.isNull());
}

void TestContextCollector::neverUsedAgainIsRemovedBySecondPass()
{
    ContextFixture f;
    f.service->setContext(Id, object(R"({"a":1})"));
    f.clock.advance(Period - 1);
    f.service->collectGarbage(Period);
    QCOMPARE(f.service->contextIds(), QStringList{Id});
    f.clock.advance(Period);
    f.service->collectGarbage(Period);
    QVERIFY(f.service->contextIds().isEmpty());
}

void TestContextCollector::usedDuringEveryPeriodIsNeverRemoved_data()
{
    using Use = std::function<void(ContextService &)>;
    QTest::addColumn<Use>("use");
    QTest::newRow("read") << Use([](ContextService &s) { s.context(Id); });
    QTest::newRow("set") << Use([](ContextService &s) { s.setContext(Id, object(R"({"a":1})")); });
    QTest::newRow("update") << Use(
        [](ContextService &s) { s.updateContext(Id, object(R"({"a":1})")); });
    QTest::newRow("refused update")
        << Use([](ContextService &s) { s.updateContext(Id, array("[]")); });
    QTest::newRow("add a file") << Use([](ContextService &s) {
        static int number = 0;
        s.addFile(Id, QString::number(++number), "x", domain::Coding());
    });
    QTest::newRow("remove a file")
        << Use([](ContextService &s) { s.removeFile(Id, QStringLiteral("none")); });
}

void TestContextCollector::usedDuringEveryPeriodIsNeverRemoved()
{
    QFETCH(std::function<void(ContextService &)>, use);
    ContextFixture f;
    f.service->setContext(Id, object(R"({"a":1})"));
    for (int pass = 0; pass < 10; ++pass) {
        f.clock.advance(1);
        use(*f.service);
        f.clock.advance(Period - 1);
        f.service->collectGarbage(Period);
        QCOMPARE(f.service->contextIds(), QStringList{Id});
    }
    f.clock.advance(Period);
    f.service->collectGarbage(Period);
    QVERIFY(f.service->contextIds().isEmpty());
}

void TestContextCollector::markMustLieStrictlyAfterTheThreshold_data()
{
    QTest::addColumn<int>("age");
    QTest::addColumn<bool>("kept");
    QTest::newRow("a period and more") << Period + 1 << false;
    QTest::newRow("exactly a period") << Period << false;
    QTest::newRow("almost a period") << Period - 1 << true;
    QTest::newRow("just now") << 0 << true;
    QTest::newRow("clock set back") << -1000 << true;
}

void TestContextCollector::markMustLieStrictlyAfterTheThreshold()
{
    QFETCH(int, age);
    QFETCH(bool, kept);
    ContextFixture f;
    f.service->setContext(Id, QJsonObject());
    f.clock.advance(age);
    f.service->collectGarbage(Period);
    QCOMPARE(f.service->contextIds().contains(Id), kept);
}

void TestContextCollector::createdButNeverSetIsNeverVisited()
{
    ContextFixture f;
    f.service->createContext();
    f.forget();
    support::LogCapture log;
    for (int pass = 0; pass < 3; ++pass) {
        f.clock.advance(Period);
        f.service->collectGarbage(Period);
    }
    const LogLine line{QtDebugMsg, serviceCategory(),
                       QStringLiteral("Garbage collector cleaning up.")};
    QCOMPARE(log.lines(serviceCategory()), (QVector<LogLine>{line, line, line}));
    QVERIFY(f.steps.isEmpty());
}

void TestContextCollector::everyRemovalIsAnnounced()
{
    ContextFixture f;
    f.service->setContext(QStringLiteral("b"), object(R"({"a":1})"));
    f.service->setContext(QStringLiteral("a"), array("[]"));
    f.forget();
    f.clock.advance(Period);
    f.service->collectGarbage(Period);
    const QVector<QJsonObject> chunks = f.publisher.on(QStringLiteral("context-removed"));
    QCOMPARE(chunks.size(), 2);
    QCOMPARE(f.publisher.chunks().size(), 2);
    QCOMPARE(chunks.at(0), object(R"({"exchange":"context-removed","data":{"contextId":"a"}})"));
    QCOMPARE(chunks.at(1), object(R"({"exchange":"context-removed","data":{"contextId":"b"}})"));
    QCOMPARE(f.removed, (QStringList{QStringLiteral("a"), QStringLiteral("b")}));
    QVERIFY(f.changed.isEmpty());
}

void TestContextCollector::withoutAHostContextsAreRemovedAllTheSame()
{
    ContextFixture f;
    f.service->setContext(Id, object(R"({"a":1})"));
    f.forget();
    f.host.publisher = nullptr;
    f.clock.advance(Period);
    f.service->collectGarbage(Period);
    QVERIFY(f.service->contextIds().isEmpty());
    QCOMPARE(f.steps, QStringList{QStringLiteral("contextRemoved")});
}

void TestContextCollector::idReadAsNullIsCollectedWithoutASignal()
{
    ContextFixture f;
    f.service->context(Id);
    f.clock.advance(Period);
    f.service->collectGarbage(Period);
    QVERIFY(f.service->contextIds().isEmpty());
    QCOMPARE(f.steps, QStringList{QStringLiteral("publish")});
}

void TestContextCollector::idsAreVisitedInAscendingOrder()
{
    ContextFixture f;
    for (const char *id : {"c", "a", "b"})
        f.service->setContext(QString::fromLatin1(id), QJsonObject());
    support::LogCapture log;
    f.service->collectGarbage(Period);
    const QVector<LogLine> lines = log.lines(serviceCategory());
    QCOMPARE(lines.size(), 4);
    QCOMPARE(lines.at(1).message, QStringLiteral("Context  \"a\""));
    QCOMPARE(lines.at(2).message, QStringLiteral("Context  \"b\""));
    QCOMPARE(lines.at(3).message, QStringLiteral("Context  \"c\""));
}

void TestContextCollector::idsRemovedDuringThePassAreStillVisited()
{
    ContextFixture f;
    f.service->setContext(QStringLiteral("a"), QJsonObject());
    f.service->setContext(QStringLiteral("b"), QJsonObject());
    f.forget();
    f.publisher.onPublish = [&](const QJsonValue &) {
        f.publisher.onPublish = nullptr;
        f.service->removeContext(QStringLiteral("b"));
    };
    f.clock.advance(Period);
    f.service->collectGarbage(Period);
    // The list of ids is the one from before the pass; a removal is published for unknown ids too.
    QCOMPARE(f.publisher.chunks().size(), 3);
    QCOMPARE(f.removed, (QStringList{QStringLiteral("b"), QStringLiteral("a")}));
}

void TestContextCollector::contextAddedDuringThePassIsNotVisited()
{
    ContextFixture f;
    f.service->setContext(QStringLiteral("a"), QJsonObject());
    f.publisher.onPublish = [&](const QJsonValue &) {
        f.publisher.onPublish = nullptr;
        f.service->setContext(QStringLiteral("z"), QJsonObject());
    };
    f.clock.advance(Period);
    f.service->collectGarbage(Period);
    QCOMPARE(f.service->contextIds(), QStringList{QStringLiteral("z")});
    // Its mark went with all others.
    f.service->collectGarbage(Period);
    QVERIFY(f.service->contextIds().isEmpty());
}

void TestContextCollector::printingIsNoUse()
{
    ContextFixture f;
    f.service->setContext(Id, object(R"({"a":1})"));
    f.clock.advance(Period);
    f.service->printedContext(Id);
    f.service->contextIds();
    f.service->fileContent(Id, QStringLiteral("none"));
    f.service->collectGarbage(Period);
    QVERIFY(f.service->contextIds().isEmpty());
}

void TestContextCollector::logOfStarting()
{
    support::LogCapture log;
    const ContextFixture f(ttl("2"));
    QCOMPARE(
        log.lines(serviceCategory()),
        (QVector<LogLine>{
            {QtInfoMsg, serviceCategory(),
             QStringLiteral(
                 "Starting the context garbage collector, runs every  120000 miliseconds.")}}));
}

void TestContextCollector::logOfAPass()
{
    ContextFixture f;
    f.service->setContext(QStringLiteral("old"), QJsonObject());
    f.clock.advance(Period);
    f.service->setContext(QStringLiteral("new"), QJsonObject());
    support::LogCapture log;
    f.service->collectGarbage(Period);
    QCOMPARE(
        log.lines(serviceCategory()),
        (QVector<LogLine>{
            {QtDebugMsg, serviceCategory(), QStringLiteral("Garbage collector cleaning up.")},
            {QtDebugMsg, serviceCategory(), QStringLiteral("Context  \"new\"")},
            {QtDebugMsg, serviceCategory(), QStringLiteral("Context  \"old\"")},
            {QtWarningMsg, serviceCategory(),
             QStringLiteral(
                 "Deleting context that was not used in more than  60000  miliseconds:  \"old\" . "
                 "Increase, decrease or disable this setting under "
                 "ch.brenlo.kavo-service.context/ttl.")}}));
}

void TestContextCollector::deletionIsLoggedBeforeItIsAnnounced()
{
    ContextFixture f;
    f.service->setContext(QStringLiteral("a"), QJsonObject());
    f.service->setContext(QStringLiteral("b"), QJsonObject());
    f.clock.advance(Period);
    const support::LogCapture log;
    QVector<QtMsgType> lastLevels;
    QVector<int> lineCounts;
    f.publisher.onPublish = [&](const QJsonValue &) {
        lastLevels.append(log.lines().last().level);
        lineCounts.append(log.lines().size());
    };
    f.service->collectGarbage(Period);
    QCOMPARE(lastLevels, (QVector<QtMsgType>{QtWarningMsg, QtWarningMsg}));
    QCOMPARE(lineCounts, (QVector<int>{3, 5})); // one context is done with before the next
}

QTEST_GUILESS_MAIN(TestContextCollector)
#include "tst_contextcollector.moc"
