#pragma once

#include "exchange/exchange.h"

#include <QtCore/QString>
#include <QtCore/QtGlobal>

#include <memory>

namespace host {

class ChunkHub;
struct BrokerSettings;

/// What became of the messages since the start.
struct BrokerCounts
{
    quint64 delivered = 0;   ///< handed to the module
    quint64 rejected = 0;    ///< came in, but are no chunk
    quint64 published = 0;   ///< confirmed by the broker
    quint64 resent = 0;      ///< sent once more, since their connection was lost unconfirmed
    quint64 dropped = 0;     ///< lost, since too many waited
    quint64 refused = 0;     ///< not taken by the broker: no such exchange, or no permission
    quint64 connections = 0; ///< how often a connection was made
    int waiting = 0;         ///< not sent or not confirmed, now
    bool connected = false;
    bool blocked =
        false; ///< connected, but the broker takes no messages for lack of memory or disk
};

/// The way to a broker as the application sees it. The application owns it, starts it once the
/// plug-in listens, and ends it before the plug-in goes. Lives on the event-loop thread, which it
/// never makes wait but in `finish`.
class BrokerLink : public Exchange
{
public:
    virtual void start() = 0;

    /// Hands nothing more to the module; what was not handed over stays with the broker.
    virtual void stopDelivering() = 0;

    /// Sends what is not confirmed yet, for two seconds at the most, and disconnects.
    virtual void finish() = 0;

    virtual BrokerCounts counts() const = 0;
};

/// Null, with one line in `error`, when this build cannot talk to a broker.
std::unique_ptr<BrokerLink> makeBrokerLink(const BrokerSettings &settings, ChunkHub *hub,
                                           QString *error);

} // namespace host
