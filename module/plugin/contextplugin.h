#pragma once

#include "chunk/chunklistener.h"
#include "system/clock.h"

#include <QtCore/QObject>
#include <memory>
#include <plugin/kavoserviceplugin.h>

class CardNumberMap;
class ContextControllerStrategy;
class ContextService;
class FileService;
class MessageService;
struct HostHandle;

/// The one object that the library exposes. It builds every other long-lived object of the module,
/// introduces them to each other and destroys them; all of them are its own, directly or through
/// the ContextService. The host makes it through QPluginLoader and deletes it; it lives on the
/// event-loop thread. The interface says in which order it is called.
class ContextPlugin final : public QObject, public KavoServicePlugin
{
    Q_OBJECT
    Q_PLUGIN_METADATA(IID "ch.brenlo.kavo-service.context")
    Q_INTERFACES(KavoServicePlugin)

public:
    ContextPlugin();
    ~ContextPlugin() override;

    /// Once: a second call builds everything anew, but the strategy list only grows, and its first
    /// entry is dangling then.
    void initialize() override;
    QList<http::ControllerStrategy *> controllerStrategies() override;

    /// After `initialize`; before it there is nothing to attach, and nothing is done.
    void attachHost(ChunkPublisher *host) override;

    /// Ends events and replies. The credentials route keeps the host, and the host the listener.
    void detachHost() override;

    quintptr reserved() override;

private:
    void scheduleDefaultValue();

    SystemClock m_clock; // the ContextService reads it to the last
    QList<http::ControllerStrategy *> m_strategies;
    std::unique_ptr<ContextControllerStrategy> m_contextStrategy;
    std::unique_ptr<CardNumberMap> m_cardNumbers;
    std::unique_ptr<ContextService> m_contexts;
    std::unique_ptr<MessageService> m_messages;
    std::unique_ptr<ChunkListener> m_chunkListener;
    std::unique_ptr<HostHandle> m_host;
    std::unique_ptr<FileService> m_files;
};
