#include <QtCore/QObject>
#include <QtCore/QtPlugin>

/// Says that it is the context plug-in, and is a plain object.
class NoService final : public QObject
{
    Q_OBJECT
    Q_PLUGIN_METADATA(IID "ch.brenlo.kavo-service.context")
};

#include "noservice.moc"
