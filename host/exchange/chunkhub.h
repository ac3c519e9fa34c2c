#pragma once

#include "exchange/exchange.h"

#include <plugin/chunkpublisher.h>

#include <QtCore/QVector>

namespace host {

/// What the module sees of the message exchange: its publisher on one side, its listener on the
/// other, and between them every exchange of this host. The application owns the hub and keeps it
/// until the plug-in is gone. Lives on the event-loop thread.
class ChunkHub final : public ChunkPublisher
{
public:
    ChunkHub() = default;
    virtual ~ChunkHub() = default;

    /// `exchange` is not owned. Exchanges are told in the order in which they were added.
    void addExchange(Exchange *exchange);

    void publish(const QJsonValue &chunk) override;
    void subscribe(ChunkUpdateListener *listener) override;

    /// Hands one chunk to the module. The exchanges hear of it first, so that what the module
    /// publishes because of it comes after it.
    void deliver(const QJsonObject &chunk);

    /// Forgets every listener; the plug-in that owns them is about to go.
    void stopDelivering();

private:
    QVector<Exchange *> m_exchanges;
    QVector<ChunkUpdateListener *> m_listeners;
};

} // namespace host
