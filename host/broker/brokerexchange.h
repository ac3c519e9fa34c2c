#pragma once

#include "broker/brokerlink.h"
#include "broker/brokermapping.h"
#include "broker/brokersettings.h"
#include "broker/pendingreplies.h"

#include <QtCore/QObject>
#include <QtCore/QTimer>

#include <memory>
#include <thread>

namespace host {

class Handover;

/// The exchange that is a RabbitMQ broker, as the event loop sees it: hands what the module
/// publishes to the broker's thread, and what that brings to the module. The application owns it.
/// Lives on the event-loop thread, which works on deliveries for a few milliseconds at a time, so
/// that a full queue on the broker does not keep HTTP waiting.
class BrokerExchange final : public BrokerLink
{
public:
    BrokerExchange(BrokerSettings settings, ChunkHub *hub);
    ~BrokerExchange() override;

    void published(const QJsonObject &chunk) override;
    void delivering(const QJsonObject &) override {} ///< what came in elsewhere stays there

    void start() override;
    void stopDelivering() override;
    void finish() override;
    BrokerCounts counts() const override;

private:
    void push(OutgoingMessage message);
    void endDrops();
    void deliverSome();
    void deliver(const Delivery &delivery);

    BrokerSettings m_settings;
    BrokerRouting m_routing;
    ChunkHub *m_hub;
    PendingReplies m_pending;
    int m_dropped = 0; // in the run of drops that is not over yet
    bool m_isDelivering = true;
    std::shared_ptr<Handover> m_handover;
    std::thread m_thread;
    QTimer m_again; // also the object that events from the thread are posted to
};

} // namespace host
