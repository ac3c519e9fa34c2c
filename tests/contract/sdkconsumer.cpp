// The smallest host there is, compiled with what pkg-config says and nothing else: loads the
// plug-in named by its argument, lets it build itself, and publishes what it makes of one request
// chunk.
#include <QtCore/QCoreApplication>
#include <QtCore/QJsonObject>
#include <QtCore/QPluginLoader>
#include <cstdio>
#include <http/controller.h>
#include <http/controllerstrategy.h>
#include <http/server/request.h>
#include <http/server/response.h>
#include <memory>
#include <plugin/chunkpublisher.h>
#include <plugin/chunkupdatelistener.h>
#include <plugin/kavoserviceplugin.h>

namespace {

class Host final : public ChunkPublisher
{
public:
    void publish(const QJsonValue & /*chunk*/) override { ++published; }
    void subscribe(ChunkUpdateListener *subscriber) override { listener = subscriber; }

    int published = 0;
    ChunkUpdateListener *listener = nullptr;
};

} // namespace

int main(int argc, char **argv)
{
    const QCoreApplication application(argc, argv);
    QPluginLoader loader(QString::fromLocal8Bit(argc > 1 ? argv[1] : ""));
    Host host;
    const std::unique_ptr<QObject> instance(loader.instance());
    auto *plugin = qobject_cast<KavoServicePlugin *>(instance.get());
    if (!plugin) {
        std::fprintf(stderr, "%s\n", qPrintable(loader.errorString()));
        return 1;
    }
    plugin->initialize();
    plugin->attachHost(&host);
    const int strategies = plugin->controllerStrategies().size();
    host.listener->chunkUpdate(
        QJsonObject{{QStringLiteral("exchange"), QStringLiteral("kavo-context-rpc-create")}});
    plugin->detachHost();
    std::printf("strategies %d published %d\n", strategies, host.published);
    // "context-created", "context-changed" and the reply
    return strategies == 1 && host.published == 3 ? 0 : 1;
}
