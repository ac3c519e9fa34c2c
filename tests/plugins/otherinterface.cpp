#include <QtCore/QObject>
#include <plugin/kavoserviceplugin.h>

/// A service plug-in in all but its interface id: it is made for something else.
class OtherInterface final : public QObject, public KavoServicePlugin
{
    Q_OBJECT
    Q_PLUGIN_METADATA(IID "ch.brenlo.kavo-service.another")
    Q_INTERFACES(KavoServicePlugin)

public:
    void initialize() override {}
    QList<http::ControllerStrategy *> controllerStrategies() override { return {}; }
    void attachHost(ChunkPublisher * /*host*/) override {}
    void detachHost() override {}
    quintptr reserved() override { return 0; }
};

#include "otherinterface.moc"
