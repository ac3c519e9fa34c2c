#include "broker/brokerframes.h"

#include <amqp_framing.h>

namespace host {
namespace {

QString line(const amqp_bytes_t &text)
{
    return QString::fromUtf8(copy(text)).simplified();
}

} // namespace

amqp_bytes_t bytes(const QByteArray &text)
{
    amqp_bytes_t result;
    result.len = size_t(text.size());
    result.bytes = const_cast<char *>(text.constData()); // the library only reads it
    return result;
}

QByteArray copy(const amqp_bytes_t &text)
{
    return QByteArray(static_cast<const char *>(text.bytes), int(text.len));
}

ChannelFault faultOf(const amqp_method_t &method)
{
    const auto *close = static_cast<const amqp_channel_close_t *>(method.decoded);
    return {close->reply_code, line(close->reply_text)};
}

QString reasonOf(const amqp_method_t &method)
{
    return line(static_cast<const amqp_connection_close_t *>(method.decoded)->reply_text);
}

BrokerEvent eventOf(const amqp_method_t &method)
{
    BrokerEvent event;
    if (method.id == AMQP_BASIC_ACK_METHOD) {
        const auto *ack = static_cast<const amqp_basic_ack_t *>(method.decoded);
        event.kind = BrokerEvent::Confirmed;
        event.tag = ack->delivery_tag;
        event.multiple = ack->multiple != 0;
    } else if (method.id == AMQP_BASIC_NACK_METHOD) {
        event.kind = BrokerEvent::NotTaken;
    } else if (method.id == AMQP_BASIC_CANCEL_METHOD) {
        event.kind = BrokerEvent::ConsumerCancelled;
    } else if (method.id == AMQP_CHANNEL_CLOSE_METHOD) {
        event.kind = BrokerEvent::ChannelClosed;
        event.fault = faultOf(method);
    } else if (method.id == AMQP_CONNECTION_BLOCKED_METHOD) {
        event.kind = BrokerEvent::Blocked;
        event.reason = line(static_cast<const amqp_connection_blocked_t *>(method.decoded)->reason);
    } else if (method.id == AMQP_CONNECTION_UNBLOCKED_METHOD) {
        event.kind = BrokerEvent::Unblocked;
    }
    return event;
}

BrokerEvent eventOf(const amqp_message_t &message, qint64 largestBody)
{
    BrokerEvent event;
    event.kind = BrokerEvent::Message;
    event.size = qint64(message.body.len);
    if (event.size <= largestBody)
        event.message.body = copy(message.body);
    const amqp_basic_properties_t &properties = message.properties;
    if ((properties._flags & AMQP_BASIC_REPLY_TO_FLAG) != 0)
        event.message.replyTo = copy(properties.reply_to);
    if ((properties._flags & AMQP_BASIC_CORRELATION_ID_FLAG) != 0)
        event.message.correlationId = copy(properties.correlation_id);
    return event;
}

} // namespace host
