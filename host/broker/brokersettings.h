#pragma once

#include "broker/outbox.h"

#include <QtCore/QByteArray>
#include <QtCore/QString>
#include <QtCore/QStringList>

#include <chrono>

class QUrl;

namespace host {

/// Where the broker is and who we are there.
struct BrokerAddress
{
    QByteArray host;
    int port = 0;
    bool encrypted = false;
    QByteArray user;
    QByteArray password;
    QByteArray vhost;
    QByteArray certificates; ///< PEM file of the authorities to trust

    /// "amqp://user@host:5672/vhost", without the password: for log lines.
    QString toString() const;
};

/// Every limit of the broker's side, in one place.
struct BrokerLimits
{
    OutboxLimits outbox;
    int prefetch = 500;                        ///< messages handed to us and not acknowledged
    qint64 inboxBytes = 64LL * 1024 * 1024;    ///< of messages that wait for the module
    qint64 body = 64LL * 1024 * 1024;          ///< a larger message is rejected
    std::chrono::seconds heartbeat{10};        ///< the peer counts as lost after two
    std::chrono::milliseconds connect{10000};  ///< to be connected and logged in
    std::chrono::seconds answer{30};           ///< for the broker to answer a declaration
    std::chrono::seconds refused{30};          ///< how long an exchange that refuses is left alone
    std::chrono::milliseconds nackPause{1000}; ///< before a message that was not taken goes again
    std::chrono::milliseconds flush{2000};     ///< at the end, for what is not confirmed
};

struct BrokerSettings
{
    BrokerAddress address;
    QString workstation;
    QStringList consume; ///< further exchanges to deliver
    QString eventExchange;
    BrokerLimits limits;
};

/// Reads amqp:// and amqps:// with the usual defaults: guest, guest, 5672 or 5671, and the vhost
/// "/" where the path is empty. No `certificateFile`: the system's authorities.
BrokerAddress brokerAddress(const QUrl &url, const QString &certificateFile);

/// How long to wait before the attempt after `failures` failed ones (from 1): 0.25 s doubling to
/// 30 s, less up to a quarter of it as `random` says (0 to 1), so that a site's workstations do not
/// come back all at once.
std::chrono::milliseconds reconnectDelay(int failures, double random);

/// The exchanges that the module acts on.
QStringList consumedExchanges();

} // namespace host
