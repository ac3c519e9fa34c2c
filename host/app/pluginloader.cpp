#include "app/pluginloader.h"

#include <plugin/kavoserviceplugin.h>

#include <QtCore/QDir>
#include <QtCore/QFileInfo>
#include <QtCore/QJsonObject>
#include <QtCore/QPluginLoader>

namespace host {
namespace {

#ifdef Q_OS_WIN
const QLatin1String moduleFile("contextplugin.dll");
#else
const QLatin1String moduleFile("contextplugin.so");
#endif

LoadedPlugin failed(const QString &file, const QString &reason)
{
    LoadedPlugin result;
    result.file = file;
    result.error = QStringLiteral("cannot load the plug-in %1: %2").arg(file, reason).simplified();
    return result;
}

LoadedPlugin instantiate(QPluginLoader *loader, const QString &interfaceId)
{
    const QString file = loader->fileName();
    if (!loader->load())
        return failed(file, loader->errorString());
    std::unique_ptr<QObject> instance(loader->instance());
    if (!instance)
        return failed(file, QStringLiteral("it makes no plug-in object"));
    auto *plugin = qobject_cast<KavoServicePlugin *>(instance.get());
    if (!plugin)
        return failed(file, QStringLiteral("its object lacks the interface %1")
                                .arg(QLatin1String(qobject_interface_iid<KavoServicePlugin *>())));
    static_cast<void>(
        instance.release()); // the same object, from now on owned through its interface
    return {std::unique_ptr<KavoServicePlugin>(plugin), file, interfaceId, QString()};
}

} // namespace

QString pluginInterfaceId()
{
    return QStringLiteral("ch.brenlo.kavo-service.context");
}

LoadedPlugin loadPlugin(const QString &file)
{
    const QFileInfo info(file);
    const QString path = info.absoluteFilePath();
    if (!info.exists())
        return failed(path, QStringLiteral("there is no such file"));
    if (!info.isFile())
        return failed(path, QStringLiteral("it is not a file"));
    if (!info.isReadable())
        return failed(path, QStringLiteral("it is not readable"));

    QPluginLoader loader(path);
    loader.setLoadHints(QLibrary::ResolveAllSymbolsHint | QLibrary::PreventUnloadHint);
    const QString interfaceId = loader.metaData().value(QLatin1String("IID")).toString();
    if (interfaceId.isEmpty())
        return failed(path, QStringLiteral("it is not a Qt plug-in library"));
    if (interfaceId != pluginInterfaceId())
        return failed(path, QStringLiteral("its interface id is \"%1\", not \"%2\"")
                                .arg(interfaceId, pluginInterfaceId()));
    return instantiate(&loader, interfaceId);
}

QStringList defaultPluginFiles(const QString &programFolder)
{
    const QDir program(programFolder);
    QStringList files{program.filePath(moduleFile)};
    const QDir prefix(QDir::cleanPath(program.filePath(QStringLiteral(".."))));
    const QStringList libraries =
        prefix.entryList({QStringLiteral("lib*")}, QDir::Dirs | QDir::NoDotAndDotDot, QDir::Name);
    for (const QString &library : libraries)
        files.append(prefix.filePath(library + QStringLiteral("/kavo-host/") + moduleFile));
    return files;
}

} // namespace host
