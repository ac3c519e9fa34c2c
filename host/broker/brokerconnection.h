#pragma once

#include "broker/brokerevent.h"
#include "broker/brokersettings.h"

#include <QtCore/QString>

#include <memory>
#include <optional>
#include <stdexcept>

namespace host {

/// The connection is of no use any more, with one line that says why.
class BrokerFailure : public std::runtime_error
{
public:
    explicit BrokerFailure(const QString &reason)
        : std::runtime_error(reason.toStdString())
    {
    }

    QString reason() const { return QString::fromUtf8(what()); }
};

/// One connection through librabbitmq, with three channels. Owned by the broker's
/// thread, where it blocks as it must; every call may throw a BrokerFailure.
class BrokerConnection
{
public:
    explicit BrokerConnection(const BrokerSettings &settings);
    ~BrokerConnection();
    BrokerConnection(const BrokerConnection &) = delete;
    BrokerConnection &operator=(const BrokerConnection &) = delete;

    int descriptor() const;

    /// Before everything else. `name` is what the broker's administrator sees.
    void logIn(const BrokerSettings &settings, const QByteArray &name);

    // Declarations, on their own channel; it is open again after a fault.
    std::optional<ChannelFault> declareExchange(const QByteArray &name);
    std::optional<ChannelFault> findExchange(const QByteArray &name);
    std::optional<ChannelFault> declareQueue(const QByteArray &name);
    std::optional<ChannelFault> findQueue(const QByteArray &name);
    std::optional<ChannelFault> bindQueue(const QByteArray &queue, const QByteArray &exchange,
                                          const QByteArray &key);

    std::optional<ChannelFault> consume(const QByteArray &queue, int prefetch);

    // Publishing is confirmed, with numbers from 1 since the last of these calls.
    void confirmPublishing();
    void reopenPublishing(); ///< after the broker closed the channel
    void renewPublishing();  ///< closes it from our side; late confirmations are passed over

    void publish(const OutgoingMessage &message);
    void acknowledge(quint64 tag); ///< with all before it
    void reject(quint64 tag);

    /// The next thing that has arrived; None when nothing has. Bodies beyond the limit are read and
    /// dropped.
    BrokerEvent receive();

    void releaseBuffers();

    /// Says goodbye; without it the other side sees a broken connection.
    void close();

private:
    struct Private;

    void open(const BrokerSettings &settings);
    void openChannel(int channel);
    void agreeToClose(int channel);
    void check(int status, const char *doing) const;
    std::optional<ChannelFault> outcome(int channel, const char *doing);
    BrokerEvent readMessage(quint64 tag, const QByteArray &exchange);

    std::unique_ptr<Private> d;
};

} // namespace host
