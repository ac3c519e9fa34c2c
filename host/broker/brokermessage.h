#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QJsonObject>

namespace host {

/// What counts of a message that the broker delivered. A null text: the message has no such field.
struct IncomingMessage
{
    QByteArray exchange;
    QByteArray replyTo;
    QByteArray correlationId;
    QByteArray body;
};

/// A message for the broker, complete but for what is the same in all of them.
struct OutgoingMessage
{
    QByteArray exchange; ///< empty: the default exchange, where the routing key is a queue's name
    QByteArray routingKey;
    QByteArray correlationId; ///< null: none
    QByteArray body;

    qint64 size() const
    {
        return qint64(exchange.size()) + routingKey.size() + correlationId.size() + body.size();
    }
};

/// Where the reply to a request goes, byte for byte as the request had it.
struct ReplyAddress
{
    QByteArray queue;
    QByteArray correlationId; ///< null: the request had none
};

/// A chunk on its way to the module, with what is needed to acknowledge and to answer it.
struct Delivery
{
    QJsonObject chunk;
    ReplyAddress reply; ///< a null queue: no reply asked for
    quint64 epoch = 0;  ///< the connection that brought it; tags count anew on each
    quint64 tag = 0;
    qint64 size = 0; ///< bytes of its body
};

} // namespace host
