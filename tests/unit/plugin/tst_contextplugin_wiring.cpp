// The plug-in object alone, compiled against stand-ins that note when they are made, called and
// destroyed: what it builds, in which order, from what, and in which order it takes it down.
#include "chunk/cardnumbermap.h"
#include "chunk/chunkbehaviours.h"
#include "chunk/chunklistener.h"
#include "context/contextservice.h"
#include "context/fileservice.h"
#include "http/contextcontrollerstrategy.h"
#include "journal.h"
#include "message/messageservice.h"
#include "plugin/contextplugin.h"
#include "plugin/hosthandle.h"
#include "support/logcapture.h"
#include "system/settings.h"

#include <QtCore/QJsonObject>
#include <QtCore/QTimer>
#include <QtTest/QtTest>
#include <plugin/chunkpublisher.h>

namespace {

const QString defaultValuesKey = QStringLiteral("ch.brenlo.kavo-service.context/defaultValues");

/// A host that notes what was in place when the plug-in subscribed.
class Host final : public ChunkPublisher
{
public:
    void publish(const QJsonValue &) override {}

    void subscribe(ChunkUpdateListener *subscriber) override
    {
        listener = subscriber;
        handleAtSubscribe = HostHandle::latest->publisher;
        strategyHostAtSubscribe = ContextControllerStrategy::latest->host;
        journal().append(QStringLiteral("subscribe"));
    }

    ChunkUpdateListener *listener = nullptr;
    ChunkPublisher *handleAtSubscribe = nullptr;
    ChunkPublisher *strategyHostAtSubscribe = nullptr;
};

} // namespace

class tst_ContextPluginWiring : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void constructorBuildsNothing();
    void initializeBuildsInTheFixedOrder();
    void initializeHandsEachObjectWhatItNeeds();
    void hostHandleIsNullUntilAttachHost();
    void secondInitializeReplacesAllButTheStrategyList();
    void attachHostSetsTheHandleThenTheStrategyThenSubscribes();
    void attachHostBeforeInitializeIsHarmless();
    void detachHostClearsOnlyTheHandle();
    void detachHostBeforeAnyAttachHostLeavesTheHandleNull();
    void detachHostBeforeInitializeIsHarmless();
    void destructorDeletesInTheFixedOrder();
    void destructorWithoutInitializeDeletesNothing();
    void noTimerWithoutDefaultValues_data();
    void noTimerWithoutDefaultValues();
    void defaultValuesStartASingleShotOfFiveSeconds();
    void defaultValueIsLoggedThenStored();
};

void tst_ContextPluginWiring::initTestCase()
{
    QCoreApplication::setOrganizationName(QStringLiteral("Org"));
    QCoreApplication::setApplicationName(QStringLiteral("app"));
}

void tst_ContextPluginWiring::init()
{
    Settings::stored().clear();
    journal().clear();
}

void tst_ContextPluginWiring::constructorBuildsNothing()
{
    const ContextPlugin plugin;
    QCOMPARE(journal(), QStringList{QStringLiteral("+Clock")});
}

void tst_ContextPluginWiring::initializeBuildsInTheFixedOrder()
{
    ContextPlugin plugin;
    journal().clear();
    plugin.initialize();
    const QStringList expected{
        QStringLiteral("+CardNumberMap"),  QStringLiteral("+HostHandle"),
        QStringLiteral("+FileService"),    QStringLiteral("+ContextService"),
        QStringLiteral("+MessageService"), QStringLiteral("chunkBehaviours"),
        QStringLiteral("setBehaviours 2"), QStringLiteral("+ContextControllerStrategy"),
        QStringLiteral("+ChunkListener"),  QStringLiteral("Settings Org app 15"),
    };
    QCOMPARE(journal(), expected);
}

void tst_ContextPluginWiring::initializeHandsEachObjectWhatItNeeds()
{
    ContextPlugin plugin;
    plugin.initialize();

    const ContextService *contexts = ContextService::latest;
    QCOMPARE(contexts->host, HostHandle::latest);
    QCOMPARE(contexts->files, FileService::latest);
    QVERIFY(contexts->clock);

    const BehaviourArguments &given = behaviourArguments();
    QCOMPARE(given.cards, CardNumberMap::latest);
    QCOMPARE(given.host, HostHandle::latest);
    QCOMPARE(given.contexts, ContextService::latest);
    QCOMPARE(given.messages, MessageService::latest);

    const ContextControllerStrategy *strategy = ContextControllerStrategy::latest;
    QCOMPARE(strategy->contexts, ContextService::latest);
    QCOMPARE(strategy->messages, MessageService::latest);
    const QList<http::ControllerStrategy *> strategies{ContextControllerStrategy::latest};
    QCOMPARE(plugin.controllerStrategies(), strategies);

    const ChunkListener *listener = ChunkListener::latest;
    QCOMPARE(listener->cards, CardNumberMap::latest);
    QCOMPARE(listener->contexts, ContextService::latest);
}

void tst_ContextPluginWiring::hostHandleIsNullUntilAttachHost()
{
    ContextPlugin plugin;
    plugin.initialize();
    QVERIFY(!HostHandle::latest->publisher);
    QVERIFY(!ContextControllerStrategy::latest->host);
}

void tst_ContextPluginWiring::secondInitializeReplacesAllButTheStrategyList()
{
    ContextPlugin plugin;
    plugin.initialize();
    const http::ControllerStrategy *first = plugin.controllerStrategies().value(0);
    journal().clear();
    plugin.initialize();
    for (const QString &name :
         {QStringLiteral("CardNumberMap"), QStringLiteral("HostHandle"),
          QStringLiteral("FileService"), QStringLiteral("ContextService"),
          QStringLiteral("MessageService"), QStringLiteral("ContextControllerStrategy"),
          QStringLiteral("ChunkListener")}) {
        QCOMPARE(journal().count(QStringLiteral("+") + name), 1);
        QCOMPARE(journal().count(QStringLiteral("-") + name), 1);
    }
    QCOMPARE(plugin.controllerStrategies().size(), 2);
    QCOMPARE(plugin.controllerStrategies().at(0), first);
    QCOMPARE(plugin.controllerStrategies().at(1), ContextControllerStrategy::latest);
}

void tst_ContextPluginWiring::attachHostSetsTheHandleThenTheStrategyThenSubscribes()
{
    ContextPlugin plugin;
    plugin.initialize();
    journal().clear();
    Host host;
    plugin.attachHost(&host);
    const QStringList expected{QStringLiteral("handle set"), QStringLiteral("setHost"),
                               QStringLiteral("subscribe")};
    QCOMPARE(journal(), expected);
    QCOMPARE(host.handleAtSubscribe, &host);
    QCOMPARE(host.strategyHostAtSubscribe, &host);
    QCOMPARE(host.listener, ChunkListener::latest);
}

void tst_ContextPluginWiring::attachHostBeforeInitializeIsHarmless()
{
    ContextPlugin plugin;
    journal().clear();
    Host host;
    plugin.attachHost(&host);
    QCOMPARE(journal(), QStringList());
    plugin.initialize();
    QVERIFY(!HostHandle::latest->publisher);
    plugin.attachHost(&host);
    QCOMPARE(host.handleAtSubscribe, &host);
}

void tst_ContextPluginWiring::detachHostClearsOnlyTheHandle()
{
    ContextPlugin plugin;
    plugin.initialize();
    Host host;
    plugin.attachHost(&host);
    journal().clear();
    plugin.detachHost();
    QVERIFY(!HostHandle::latest->publisher);
    QCOMPARE(ContextControllerStrategy::latest->host, &host);
    QCOMPARE(host.listener, ChunkListener::latest);
    QCOMPARE(journal(), QStringList{QStringLiteral("handle cleared")});
}

void tst_ContextPluginWiring::detachHostBeforeAnyAttachHostLeavesTheHandleNull()
{
    ContextPlugin plugin;
    plugin.initialize();
    plugin.detachHost();
    QVERIFY(!HostHandle::latest->publisher);
}

void tst_ContextPluginWiring::detachHostBeforeInitializeIsHarmless()
{
    ContextPlugin plugin;
    journal().clear();
    plugin.detachHost();
    QCOMPARE(journal(), QStringList());
}

void tst_ContextPluginWiring::destructorDeletesInTheFixedOrder()
{
    auto plugin = std::make_unique<ContextPlugin>();
    plugin->initialize();
    journal().clear();
    plugin.reset();
    const QStringList expected{
        QStringLiteral("-FileService"),
        QStringLiteral("-HostHandle"),
        QStringLiteral("-ChunkListener"),
        QStringLiteral("-MessageService"),
        QStringLiteral("-ContextService"),
        QStringLiteral("-CardNumberMap"),
        QStringLiteral("-ContextControllerStrategy"),
        QStringLiteral("-Clock"), // the ContextService reads it to the last
    };
    QCOMPARE(journal(), expected);
}

void tst_ContextPluginWiring::destructorWithoutInitializeDeletesNothing()
{
    auto plugin = std::make_unique<ContextPlugin>();
    journal().clear();
    plugin.reset();
    QCOMPARE(journal(), QStringList{QStringLiteral("-Clock")});
}

void tst_ContextPluginWiring::noTimerWithoutDefaultValues_data()
{
    QTest::addColumn<QVariant>("value");
    QTest::newRow("absent") << QVariant();
    QTest::newRow("false") << QVariant(QStringLiteral("false"));
    QTest::newRow("0") << QVariant(QStringLiteral("0"));
    QTest::newRow("empty") << QVariant(QString());
}

void tst_ContextPluginWiring::noTimerWithoutDefaultValues()
{
    QFETCH(QVariant, value);
    if (value.isValid())
        Settings::stored().insert(defaultValuesKey, value);
    ContextPlugin plugin;
    plugin.initialize();
    QVERIFY(plugin.findChildren<QTimer *>().isEmpty());
}

void tst_ContextPluginWiring::defaultValuesStartASingleShotOfFiveSeconds()
{
    Settings::stored().insert(defaultValuesKey, QStringLiteral("true"));
    ContextPlugin plugin;
    plugin.initialize();
    const QTimer *timer = plugin.findChild<QTimer *>();
    QVERIFY(timer);
    QVERIFY(timer->isActive());
    QVERIFY(timer->isSingleShot());
    QCOMPARE(timer->interval(), 5000);
}

void tst_ContextPluginWiring::defaultValueIsLoggedThenStored()
{
    Settings::stored().insert(defaultValuesKey, QStringLiteral("true"));
    ContextPlugin plugin;
    plugin.initialize();
    auto *timer = plugin.findChild<QTimer *>();
    QVERIFY(timer);

    const support::LogCapture log;
    int linesBeforeStoring = -1;
    ContextService::latest->onSet = [&] { linesBeforeStoring = log.lines().size(); };
    timer->start(0); // the five seconds are tested above
    QSignalSpy fired(timer, &QTimer::timeout);
    QVERIFY(fired.wait());
    const QVector<support::LogLine> expected{{QtInfoMsg,
                                              QStringLiteral("ch.brenlo.kavo-service.context"),
                                              QStringLiteral("Loading default value \"\"")}};
    QCOMPARE(log.lines(), expected);
    QCOMPARE(linesBeforeStoring, 1);
    QCOMPARE(ContextService::latest->setId, QString());
    QCOMPARE(ContextService::latest->setValue, QJsonValue(QJsonObject()));
    QVERIFY(!timer->isActive());
}

QTEST_GUILESS_MAIN(tst_ContextPluginWiring)
#include "tst_contextplugin_wiring.moc"
