// The host's calls in their order, and out of it: what is published when, and what stays.
#include "fakehost.h"
#include "support/fakehttp.h"
#include "support/recordingpublisher.h"

#include <QtCore/QJsonObject>
#include <plugin/chunkupdatelistener.h>

using fakehost::Plugin;
using http::server::Request;
using support::Exchange;
using support::FakeRequest;
using support::RecordingPublisher;

namespace {

/// The new context's id.
QString createContext(const Plugin &plugin)
{
    Exchange exchange(plugin.strategy(),
                      FakeRequest(Request::Post, QStringLiteral("/context"), "{\"a\":1}")
                          .with(QStringLiteral("Accept"), QStringLiteral("text/plain")));
    exchange.handle();
    return QString::fromLatin1(exchange.response->body());
}

int statusOfGet(const Plugin &plugin, const QString &id)
{
    Exchange exchange(plugin.strategy(),
                      FakeRequest(Request::Get, QStringLiteral("/context/") + id));
    return exchange.handle().response->statuses().value(0);
}

QJsonObject setRequest(const QString &id)
{
    return {{QStringLiteral("exchange"), QStringLiteral("kavo-context-rpc-set")},
            {QStringLiteral("properties"),
             QJsonObject{{QStringLiteral("reply-to"), QStringLiteral("exchange:replies")}}},
            {QStringLiteral("body"),
             QJsonObject{{QStringLiteral("_id"), id}, {QStringLiteral("a"), 1}}}};
}

} // namespace

class tst_Lifecycle : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { fakehost::Workstation::current()->clear(); }
    void controllerStrategiesBeforeInitializeIsEmpty();
    void controllerStrategiesIsACopyOfOneEntry();
    void sixthOperationAnswersZero();
    void attachHostSubscribesTheListenerOnce();
    void nothingIsPublishedBeforeAttachHost();
    void eventsLeaveWhileAHostIsAttached();
    void detachHostBeforeAnyAttachHostIsHarmless();
    void detachHostSilencesEventsAndReplies();
    void requestsAndChunksAreHandledAfterDetachHost();
    void credentialsRouteKeepsTheHostBeyondDetachHost();
    void credentialsRouteHasNoHostBeforeAttachHost();
    void anotherAttachHostTakesTheFirstOnesPlace();
    void destructionPublishesNothing();
    void contextsDoNotOutliveThePlugin();
};

void tst_Lifecycle::controllerStrategiesBeforeInitializeIsEmpty()
{
    const Plugin plugin;
    QVERIFY(plugin->controllerStrategies().isEmpty());
}

void tst_Lifecycle::controllerStrategiesIsACopyOfOneEntry()
{
    const Plugin plugin;
    plugin->initialize();
    QList<http::ControllerStrategy *> strategies = plugin->controllerStrategies();
    QCOMPARE(strategies.size(), 1);
    QVERIFY(strategies.at(0));
    http::ControllerStrategy *strategy = strategies.at(0);
    strategies.clear();
    QCOMPARE(plugin->controllerStrategies(), QList<http::ControllerStrategy *>{strategy});
}

void tst_Lifecycle::sixthOperationAnswersZero()
{
    RecordingPublisher host;
    const Plugin plugin;
    QCOMPARE(plugin->reserved(), quintptr(0));
    plugin->initialize();
    plugin->attachHost(&host);
    QCOMPARE(plugin->reserved(), quintptr(0));
}

void tst_Lifecycle::attachHostSubscribesTheListenerOnce()
{
    RecordingPublisher host;
    const Plugin plugin;
    plugin->initialize();
    QVERIFY(host.listeners().isEmpty());
    plugin->attachHost(&host);
    QCOMPARE(host.listeners().size(), 1);
    QVERIFY(host.listeners().at(0));
    QVERIFY(host.chunks().isEmpty());
}

void tst_Lifecycle::nothingIsPublishedBeforeAttachHost()
{
    RecordingPublisher host;
    const Plugin plugin;
    plugin->initialize();
    const QString id = createContext(plugin);
    QCOMPARE(statusOfGet(plugin, id), 200);
    plugin->attachHost(&host);
    QVERIFY(host.chunks().isEmpty()); // nor made up for afterwards
}

void tst_Lifecycle::eventsLeaveWhileAHostIsAttached()
{
    RecordingPublisher host;
    const Plugin plugin;
    plugin->initialize();
    plugin->attachHost(&host);
    const QString id = createContext(plugin);
    QCOMPARE(host.chunks().size(), 2);
    const QJsonObject created{
        {QStringLiteral("exchange"), QStringLiteral("context-created")},
        {QStringLiteral("data"), QJsonObject{{QStringLiteral("contextId"), id}}}};
    QCOMPARE(host.chunks().at(0).toObject(), created);
    QCOMPARE(host.last().value(QLatin1String("data")).toObject().value(QLatin1String("event")),
             QJsonValue(QStringLiteral("context-changed")));

    host.listeners().at(0)->chunkUpdate(setRequest(QStringLiteral("abc")));
    QCOMPARE(host.on(QStringLiteral("replies")).size(), 1);
}

void tst_Lifecycle::detachHostBeforeAnyAttachHostIsHarmless()
{
    RecordingPublisher host;
    const Plugin plugin;
    plugin->detachHost();
    plugin->initialize();
    plugin->detachHost();
    createContext(plugin);
    plugin->attachHost(&host);
    createContext(plugin);
    QCOMPARE(host.on(QStringLiteral("context-created")).size(), 1);
}

void tst_Lifecycle::detachHostSilencesEventsAndReplies()
{
    RecordingPublisher host;
    const Plugin plugin;
    plugin->initialize();
    plugin->attachHost(&host);
    plugin->detachHost();
    createContext(plugin);
    host.listeners().at(0)->chunkUpdate(setRequest(QStringLiteral("abc")));
    QVERIFY(host.chunks().isEmpty());
}

void tst_Lifecycle::requestsAndChunksAreHandledAfterDetachHost()
{
    RecordingPublisher host;
    const Plugin plugin;
    plugin->initialize();
    plugin->attachHost(&host);
    plugin->detachHost();
    host.listeners().at(0)->chunkUpdate(setRequest(QStringLiteral("abc")));
    QCOMPARE(statusOfGet(plugin, QStringLiteral("abc")), 200);
}

void tst_Lifecycle::credentialsRouteKeepsTheHostBeyondDetachHost()
{
    RecordingPublisher host;
    const Plugin plugin;
    plugin->initialize();
    plugin->attachHost(&host);
    plugin->detachHost();
    Exchange exchange(plugin.strategy(),
                      FakeRequest(Request::Post, QStringLiteral("/context/abc/credentials"), "[]"));
    QCOMPARE(exchange.handle().response->statuses(), QVector<int>{200});
    QCOMPARE(host.chunks().size(), 1);
    QCOMPARE(host.last().value(QLatin1String("data")).toObject().value(QLatin1String("event")),
             QJsonValue(QStringLiteral("credentialreset-published")));
}

void tst_Lifecycle::credentialsRouteHasNoHostBeforeAttachHost()
{
    RecordingPublisher host;
    const Plugin plugin;
    plugin->initialize();
    Exchange exchange(plugin.strategy(),
                      FakeRequest(Request::Post, QStringLiteral("/context/abc/credentials"), "[]"));
    QCOMPARE(exchange.handle().response->statuses(), QVector<int>{200});
    plugin->attachHost(&host);
    QVERIFY(host.chunks().isEmpty());
}

void tst_Lifecycle::anotherAttachHostTakesTheFirstOnesPlace()
{
    RecordingPublisher first;
    RecordingPublisher second;
    const Plugin plugin;
    plugin->initialize();
    plugin->attachHost(&first);
    plugin->detachHost();
    plugin->attachHost(&second);
    createContext(plugin);
    QVERIFY(first.chunks().isEmpty());
    QCOMPARE(second.chunks().size(), 2);
    QCOMPARE(second.listeners(), first.listeners());
}

void tst_Lifecycle::destructionPublishesNothing()
{
    RecordingPublisher host;
    Plugin plugin;
    plugin->initialize();
    plugin->attachHost(&host);
    createContext(plugin);
    host.clear();
    plugin.destroy();
    QVERIFY(host.chunks().isEmpty());
}

void tst_Lifecycle::contextsDoNotOutliveThePlugin()
{
    Plugin plugin;
    plugin->initialize();
    const QString id = createContext(plugin);
    QCOMPARE(statusOfGet(plugin, id), 200);
    plugin.destroy();

    const Plugin next;
    next->initialize();
    QCOMPARE(statusOfGet(next, id), 404);
}

FAKEHOST_MAIN(tst_Lifecycle)
#include "tst_lifecycle.moc"
