#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QJsonObject>

#include <chrono>
#include <memory>
#include <optional>

/// A message as a client of the broker sees it.
struct AmqpMessage
{
    QByteArray exchange;
    QByteArray routingKey;
    QByteArray body;
    QByteArray contentType;
    QByteArray correlationId;
    QByteArray replyTo;
    int deliveryMode = 0;
    bool isRedelivered = false;

    QJsonObject json() const;
};

/// A bare client of the broker, straight on the library: one connection, one channel, no
/// reconnecting. Every call waits for what it asks for, but not for ever; `isOpen` is false once
/// one failed. Lives in a test, on its thread.
class AmqpClient
{
public:
    explicit AmqpClient(quint16 port, const char *user = "guest");
    ~AmqpClient();
    AmqpClient(const AmqpClient &) = delete;
    AmqpClient &operator=(const AmqpClient &) = delete;

    bool isOpen() const;

    /// A durable queue with that name, or an exclusive one that the broker names.
    QByteArray declareQueue(const QByteArray &name = {});
    /// A durable queue that refuses what it has no room for, and does not confirm it.
    bool declareNarrowQueue(const QByteArray &name, int messages);
    bool deleteQueue(const QByteArray &name);
    bool declareExchange(const QByteArray &name, const char *type);
    bool deleteExchange(const QByteArray &name);
    bool bind(const QByteArray &queue, const QByteArray &exchange, const QByteArray &key);

    /// How many messages wait in the queue; negative when there is no such queue.
    int count(const QByteArray &queue);

    bool confirm(); ///< publish waits for nothing; `waitForConfirms` does
    bool publish(const QByteArray &exchange, const QByteArray &key, const QByteArray &body,
                 const QByteArray &replyTo = {}, const QByteArray &correlationId = {});
    bool waitForConfirms(quint64 number); ///< of the first `number` messages since `confirm`

    /// With a prefetch they are acknowledged, so many at once.
    bool consume(const QByteArray &queue, int prefetch = 0, int atOnce = 1);
    std::optional<AmqpMessage> next(std::chrono::milliseconds limit = std::chrono::seconds(30));

private:
    struct Private;
    bool check();

    std::unique_ptr<Private> d;
};
