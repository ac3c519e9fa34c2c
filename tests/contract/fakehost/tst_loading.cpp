// What the library shows to a host before the host calls anything.
#include "fakehost.h"

#include <QtCore/QJsonObject>
#include <QtCore/QLibrary>
#include <QtCore/QPointer>
#include <plugin/kavoserviceplugin.h>

using fakehost::Plugin;
using fakehost::pluginFile;

class tst_Loading : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void metadataNamesTheInterfaceAndTheClassAndNothingElse();
    void metacastAnswersItsOwnClass();
    void metacastAnswersTheHostInterface_data();
    void metacastAnswersTheHostInterface();
    void metacastLeavesTheRestToQObject();
    void everyCallReturnsTheOneInstanceWhileItLives();
    void instanceIsBuiltAfreshAfterItWasDestroyed();
    void constructorBuildsNothing();
};

void tst_Loading::metadataNamesTheInterfaceAndTheClassAndNothingElse()
{
    const QJsonObject metaData = QPluginLoader(pluginFile()).metaData();
    QCOMPARE(metaData.value(QLatin1String("IID")).toString(),
             QStringLiteral("ch.brenlo.kavo-service.context"));
    QCOMPARE(metaData.value(QLatin1String("className")).toString(),
             QStringLiteral("ContextPlugin"));
    QVERIFY(metaData.value(QLatin1String("MetaData")).toObject().isEmpty());
    QVERIFY(!metaData.contains(QLatin1String("URI")));
}

void tst_Loading::metacastAnswersItsOwnClass()
{
    const Plugin plugin;
    QCOMPARE(plugin.object()->qt_metacast("ContextPlugin"), static_cast<void *>(plugin.object()));
    QCOMPARE(plugin.object()->metaObject()->className(), "ContextPlugin");
}

void tst_Loading::metacastAnswersTheHostInterface_data()
{
    QTest::addColumn<QByteArray>("name");
    QTest::newRow("class") << QByteArray("KavoServicePlugin");
    QTest::newRow("interface id") << QByteArray("ch.brenlo.kavo-service.plugin");
}

void tst_Loading::metacastAnswersTheHostInterface()
{
    QFETCH(QByteArray, name);
    const Plugin plugin;
    auto *service = dynamic_cast<KavoServicePlugin *>(plugin.object());
    QVERIFY(service);
    QCOMPARE(plugin.object()->qt_metacast(name.constData()), static_cast<void *>(service));
    QVERIFY(static_cast<void *>(service) != static_cast<void *>(plugin.object()));
}

void tst_Loading::metacastLeavesTheRestToQObject()
{
    const Plugin plugin;
    QCOMPARE(plugin.object()->qt_metacast("QObject"), static_cast<void *>(plugin.object()));
    QVERIFY(!plugin.object()->qt_metacast("ch.brenlo.kavo-service.context"));
    QVERIFY(!plugin.object()->qt_metacast("QTimer"));
    QVERIFY(!plugin.object()->qt_metacast(nullptr));
}

void tst_Loading::everyCallReturnsTheOneInstanceWhileItLives()
{
    const Plugin plugin;
    QPluginLoader another(pluginFile());
    QCOMPARE(another.instance(), plugin.object());

    QLibrary library(pluginFile());
    const auto entry = reinterpret_cast<QObject *(*)()>(library.resolve("qt_plugin_instance"));
    QVERIFY2(entry, qPrintable(library.errorString()));
    QCOMPARE(entry(), plugin.object());
    QCOMPARE(entry(), plugin.object());
}

void tst_Loading::instanceIsBuiltAfreshAfterItWasDestroyed()
{
    Plugin first;
    const QPointer<QObject> watch(first.object());
    first->initialize();
    QCOMPARE(first->controllerStrategies().size(), 1);
    first.destroy();
    QVERIFY(!watch);

    const Plugin second;
    QCOMPARE(second->controllerStrategies().size(), 0); // not initialized: a new one
    second->initialize();
    QCOMPARE(second->controllerStrategies().size(), 1);
}

void tst_Loading::constructorBuildsNothing()
{
    const Plugin plugin;
    QVERIFY(plugin.object()->children().isEmpty());
    QVERIFY(plugin->controllerStrategies().isEmpty());
}

FAKEHOST_MAIN(tst_Loading)
#include "tst_loading.moc"
