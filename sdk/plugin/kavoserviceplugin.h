#pragma once

#include <QtCore/QList>
#include <QtCore/QObject>
#include <QtCore/QtPlugin>

class ChunkPublisher;

namespace http {
class ControllerStrategy;
}

/// What a plug-in of the workstation's host service implements.
///
/// A host loads the library with QPluginLoader, takes the instance with
/// `qobject_cast<KavoServicePlugin *>` and then calls, in this order and always on the thread that
/// runs the event loop:
///
///  1. `initialize`, once: the plug-in builds itself. The application's organisation and
///     application names must be set by then; settings are looked up under them.
///  2. `attachHost`: the plug-in may publish from now on, and subscribes its listener.
///  3. `controllerStrategies`: what serves the plug-in's HTTP routes.
///  4. `detachHost`: events and replies are no longer published. Requests and chunks are still
///     handled.
///  5. the destructor, by deleting the instance: after the last controller is gone and the last
///     chunk is delivered. Do not unload the library while anything of it is alive.
///
/// Virtual functions stand in the order of their slots, the destructor first.
class KavoServicePlugin
{
public:
    virtual ~KavoServicePlugin() = default;

    virtual void initialize() = 0;

    /// The plug-in keeps the strategies; they are valid until it is destroyed. Empty before
    /// `initialize`.
    virtual QList<http::ControllerStrategy *> controllerStrategies() = 0;

    /// `host` is not owned and must stay valid until the plug-in is destroyed.
    virtual void attachHost(ChunkPublisher *host) = 0;

    /// Harmless without an earlier `attachHost`.
    virtual void detachHost() = 0;

    /// Reserved for the host; a plug-in answers zero.
    virtual quintptr reserved() = 0;
};

Q_DECLARE_INTERFACE(KavoServicePlugin, "ch.brenlo.kavo-service.plugin")
