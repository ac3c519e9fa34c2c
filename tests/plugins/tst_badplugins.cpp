// Each bad plug-in has its one fault and no other, so that a loader's test shows what it says.
#include <QtCore/QDir>
#include <QtCore/QPluginLoader>
#include <QtTest/QtTest>
#include <memory>
#include <plugin/kavoserviceplugin.h>

namespace {

QString badPlugin(const QString &name)
{
    return QDir(QString::fromLocal8Bit(qgetenv("KAVO_BAD_PLUGINS"))).filePath(name);
}

QString interfaceId(const QPluginLoader &loader)
{
    return loader.metaData().value(QLatin1String("IID")).toString();
}

} // namespace

class tst_BadPlugins : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void otherInterfaceIsAServicePluginUnderAnotherId();
    void noServiceHasTheIdAndIsNoServicePlugin();
    void notALibraryExistsAndCannotBeLoaded();
};

void tst_BadPlugins::otherInterfaceIsAServicePluginUnderAnotherId()
{
    QPluginLoader loader(badPlugin(QStringLiteral("otherinterface" KAVO_MODULE_SUFFIX)));
    QCOMPARE(interfaceId(loader), QStringLiteral("ch.brenlo.kavo-service.another"));
    const std::unique_ptr<QObject> instance(loader.instance());
    QVERIFY2(instance, qPrintable(loader.errorString()));
    QVERIFY(qobject_cast<KavoServicePlugin *>(instance.get()));
}

void tst_BadPlugins::noServiceHasTheIdAndIsNoServicePlugin()
{
    QPluginLoader loader(badPlugin(QStringLiteral("noservice" KAVO_MODULE_SUFFIX)));
    QCOMPARE(interfaceId(loader), QStringLiteral("ch.brenlo.kavo-service.context"));
    const std::unique_ptr<QObject> instance(loader.instance());
    QVERIFY2(instance, qPrintable(loader.errorString()));
    QVERIFY(!qobject_cast<KavoServicePlugin *>(instance.get()));
}

void tst_BadPlugins::notALibraryExistsAndCannotBeLoaded()
{
    const QString file = badPlugin(QStringLiteral("notalibrary.so"));
    QVERIFY(QFileInfo::exists(file));
    QPluginLoader loader(file);
    QVERIFY(loader.metaData().isEmpty());
    QVERIFY(!loader.load());
    QVERIFY(!loader.errorString().isEmpty());
}

QTEST_GUILESS_MAIN(tst_BadPlugins)
#include "tst_badplugins.moc"
