#include <QtCore/QObject>
#include <QtCore/QtPlugin>

/// A Qt plug-in that has nothing to do with this system: kavo-host must refuse it by its interface
/// id.
class StrangePlugin : public QObject
{
    Q_OBJECT
    Q_PLUGIN_METADATA(IID "example.another-host.plugin")
};

#include "strangeplugin.moc"
