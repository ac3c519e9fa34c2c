#pragma once

#include "broker/brokerevent.h"

#include <amqp.h>

namespace host {

// What librabbitmq hands over, in our words: values in, values out, and no connection.

/// The text's own bytes: it must outlive their use.
amqp_bytes_t bytes(const QByteArray &text);

QByteArray copy(const amqp_bytes_t &text);

/// What the broker says of a channel, or of the connection, that it closes: one line, whatever it
/// sends.
ChannelFault faultOf(const amqp_method_t &channelClose);
QString reasonOf(const amqp_method_t &connectionClose);

/// None for what is of no interest.
BrokerEvent eventOf(const amqp_method_t &method);

/// A message of the consumer; of a body beyond the limit the size alone.
BrokerEvent eventOf(const amqp_message_t &message, qint64 largestBody);

} // namespace host
