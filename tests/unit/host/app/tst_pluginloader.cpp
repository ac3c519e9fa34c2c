#include "app/pluginloader.h"

#include <plugin/kavoserviceplugin.h>

#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QTemporaryDir>
#include <QtTest/QtTest>

using namespace host;

namespace {

QString badPlugin(const QString &name)
{
    return QDir(QString::fromLocal8Bit(qgetenv("KAVO_BAD_PLUGINS"))).filePath(name);
}

void touch(const QString &file)
{
    QFile made(file);
    if (!made.open(QIODevice::WriteOnly))
        qFatal("cannot write %s", qPrintable(file));
}

} // namespace

class PluginLoaderTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void loadsTheModule();
    void everyFaultIsOneLineWithItsReason_data();
    void everyFaultIsOneLineWithItsReason();
    void looksBesideTheProgramFirst();
};

void PluginLoaderTest::loadsTheModule()
{
    const QString file = QString::fromLocal8Bit(qgetenv("KAVO_PLUGIN"));
    const LoadedPlugin loaded = loadPlugin(file);
    QVERIFY2(loaded.plugin, qPrintable(loaded.error));
    QCOMPARE(loaded.file, QFileInfo(file).absoluteFilePath());
    QCOMPARE(loaded.interfaceId, QStringLiteral("ch.brenlo.kavo-service.context"));
    QVERIFY(loaded.error.isEmpty());
    QVERIFY(loaded.plugin->controllerStrategies().isEmpty()); // not initialized by the loader
}

void PluginLoaderTest::everyFaultIsOneLineWithItsReason_data()
{
    QTest::addColumn<QString>("file");
    QTest::addColumn<QString>("reason");
    QTest::newRow("missing") << "/nowhere/contextplugin.so"
                             << "there is no such file";
    QTest::newRow("a folder") << QDir::tempPath() << "it is not a file";
    QTest::newRow("a text") << QStringLiteral(KAVO_SOURCE_DIR "/CMakeLists.txt")
                            << "it is not a Qt plug-in library";
    QTest::newRow("a text that is named as a library")
        << badPlugin(QStringLiteral("notalibrary.so")) << "it is not a Qt plug-in library";
    QTest::newRow("a library without metadata")
        << QString::fromLocal8Bit(qgetenv("KAVO_PLAIN_LIBRARY"))
        << "it is not a Qt plug-in library";
    QTest::newRow("another interface id")
        << badPlugin(QStringLiteral("otherinterface" KAVO_MODULE_SUFFIX))
        << "its interface id is \"ch.brenlo.kavo-service.another\", not "
           "\"ch.brenlo.kavo-service.context\"";
    QTest::newRow("no service plug-in")
        << badPlugin(QStringLiteral("noservice" KAVO_MODULE_SUFFIX))
        << "its object lacks the interface ch.brenlo.kavo-service.plugin";
}

void PluginLoaderTest::everyFaultIsOneLineWithItsReason()
{
    QFETCH(QString, file);
    QFETCH(QString, reason);
    const LoadedPlugin loaded = loadPlugin(file);
    QVERIFY(!loaded.plugin);
    QCOMPARE(loaded.error, QStringLiteral("cannot load the plug-in %1: %2")
                               .arg(QFileInfo(file).absoluteFilePath(), reason));
    QVERIFY(!loaded.error.contains(QLatin1Char('\n')));
}

void PluginLoaderTest::looksBesideTheProgramFirst()
{
    QTemporaryDir prefix;
    QDir root(prefix.path());
    QVERIFY(root.mkpath(QStringLiteral("bin")));
    QVERIFY(root.mkpath(QStringLiteral("lib/kavo-host")));
    QVERIFY(root.mkpath(QStringLiteral("lib64/kavo-host")));
    QVERIFY(root.mkpath(QStringLiteral("share")));
    touch(root.filePath(QStringLiteral("libfile")));
    const QString name = QFileInfo(QString::fromLocal8Bit(qgetenv("KAVO_PLUGIN"))).fileName();
    QCOMPARE(defaultPluginFiles(root.filePath(QStringLiteral("bin"))),
             (QStringList{root.filePath(QStringLiteral("bin/") + name),
                          root.filePath(QStringLiteral("lib/kavo-host/") + name),
                          root.filePath(QStringLiteral("lib64/kavo-host/") + name)}));
}

QTEST_GUILESS_MAIN(PluginLoaderTest)
#include "tst_pluginloader.moc"
