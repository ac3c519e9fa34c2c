// The one test that waits: five seconds after initialize the default value is there.
#include "fakehost.h"
#include "support/logcapture.h"
#include "support/recordingpublisher.h"

#include <QtCore/QElapsedTimer>
#include <QtCore/QJsonArray>
#include <QtCore/QJsonObject>
#include <QtCore/QTimer>
#include <plugin/chunkupdatelistener.h>

using fakehost::Plugin;
using fakehost::Workstation;
using support::LogLine;
using support::RecordingPublisher;

namespace {

/// Marks every context there is; which they are shows in the events.
QStringList contextIds(RecordingPublisher &host)
{
    host.clear();
    host.listeners().at(0)->chunkUpdate(QJsonObject{
        {QStringLiteral("exchange"), QStringLiteral("kavo-context-rpc-update")},
        {QStringLiteral("body"), QJsonObject{{QStringLiteral("_id"), QStringLiteral("*")},
                                             {QStringLiteral("marked"), true}}}});
    QStringList ids;
    for (const QJsonValue &chunk : host.chunks()) {
        const QJsonObject event = chunk.toObject().value(QLatin1String("data")).toObject();
        if (event.contains(QLatin1String("id")))
            ids.append(event.value(QLatin1String("id")).toString());
    }
    return ids;
}

QVector<LogLine> pluginLines(const support::LogCapture &log)
{
    return log.lines(QStringLiteral("ch.brenlo.kavo-service.context"));
}

} // namespace

class tst_DefaultValue : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { Workstation::current()->clear(); }
    void emptyObjectIsStoredUnderTheEmptyIdFiveSecondsAfterInitialize();
    void destroyedPluginStoresNothing();
};

void tst_DefaultValue::emptyObjectIsStoredUnderTheEmptyIdFiveSecondsAfterInitialize()
{
    Workstation::current()->writeSystemSettings(fakehost::contextSetting("defaultValues=true"));
    const support::LogCapture log;
    RecordingPublisher host;
    const Plugin plugin;
    QElapsedTimer sinceInitialize;
    sinceInitialize.start();
    plugin->initialize();
    plugin->attachHost(&host);
    QCOMPARE(contextIds(host), QStringList());

    QTRY_VERIFY_WITH_TIMEOUT(!pluginLines(log).isEmpty(), 60000);
    QVERIFY(sinceInitialize.elapsed() >= 5000);
    const QVector<LogLine> expected{{QtInfoMsg, QStringLiteral("ch.brenlo.kavo-service.context"),
                                     QStringLiteral("Loading default value \"\"")}};
    QCOMPARE(pluginLines(log), expected);
    QCOMPARE(contextIds(host), QStringList{QString()});
    const QJsonObject marked{{QStringLiteral("marked"), true},
                             {QStringLiteral("matchingItems"), QJsonArray()}};
    QCOMPARE(host.chunks()
                 .at(0)
                 .toObject()
                 .value(QLatin1String("data"))
                 .toObject()
                 .value(QLatin1String("context")),
             QJsonValue(marked));
    plugin->detachHost();
}

void tst_DefaultValue::destroyedPluginStoresNothing()
{
    Workstation::current()->writeSystemSettings(fakehost::contextSetting("defaultValues=true"));
    const support::LogCapture log;
    Plugin first;
    first->initialize();
    auto *timer = first.object()->findChild<QTimer *>();
    QVERIFY(timer);
    timer->start(0); // due at once, and the plug-in is gone before the loop turns
    first.destroy();
    QCoreApplication::processEvents();
    QVERIFY(pluginLines(log).isEmpty());
}

FAKEHOST_MAIN(tst_DefaultValue)
#include "tst_defaultvalue.moc"
