#pragma once

#include "broker/brokerconnection.h"
#include "broker/brokersettings.h"

#include <QtCore/QDeadlineTimer>
#include <QtCore/QHash>

#include <memory>

namespace host {

class Handover;

/// The broker's thread: connects, declares, carries messages both ways, and connects again after a
/// loss, until it is told to end. Owns the connection; shares nothing but the handover. `run` is
/// the thread's body.
class BrokerWorker
{
public:
    BrokerWorker(BrokerSettings settings, std::shared_ptr<Handover> handover);
    ~BrokerWorker();
    BrokerWorker(const BrokerWorker &) = delete;
    BrokerWorker &operator=(const BrokerWorker &) = delete;

    void run();

private:
    void connect();
    void disconnect();
    void serve();
    void failed(const QString &reason);
    void pause();
    void sleep(int descriptor, std::chrono::milliseconds limit);

    bool receiveSome();
    void handle(const BrokerEvent &event);
    void takeMessage(const BrokerEvent &event);
    bool sendSome();
    void acknowledge();

    void channelClosed(const BrokerEvent &event);
    void notTaken();
    void dropCulprit(const ChannelFault &fault);
    bool isRefused(const OutgoingMessage &message);

    BrokerSettings m_settings;
    std::shared_ptr<Handover> m_handover;
    std::unique_ptr<BrokerConnection> m_connection;
    int m_failures = 0;
    QString m_lastFailure;
    QDeadlineTimer m_settled; ///< when a connection has lasted long enough to be called good

    bool m_isBlocked = false;
    int m_careful = 0;            ///< messages to go one by one, to see which the broker refuses
    QDeadlineTimer m_publishFrom; ///< nothing is sent before
    bool m_isNotTaken = false;    ///< the broker refuses to take a message that it could route
    QHash<QByteArray, QDeadlineTimer> m_refusing; ///< exchanges that take nothing, until then
};

} // namespace host
