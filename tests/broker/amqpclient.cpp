#include "broker/amqpclient.h"

#include <QtCore/QDeadlineTimer>
#include <QtCore/QJsonDocument>

#include <amqp.h>
#include <amqp_framing.h>
#include <amqp_tcp_socket.h>
#include <sys/time.h>

namespace {

constexpr int channel = 1;
constexpr int heartbeat = 0; // a client that is busy elsewhere is not lost
constexpr int patience = 30;

amqp_bytes_t bytes(const QByteArray &text)
{
    amqp_bytes_t result;
    result.len = size_t(text.size());
    result.bytes = const_cast<char *>(text.constData());
    return result;
}

QByteArray copy(const amqp_bytes_t &text)
{
    return QByteArray(static_cast<const char *>(text.bytes), int(text.len));
}

timeval interval(std::chrono::milliseconds limit)
{
    return {time_t(limit.count() / 1000), suseconds_t(limit.count() % 1000 * 1000)};
}

} // namespace

QJsonObject AmqpMessage::json() const
{
    return QJsonDocument::fromJson(body).object();
}

struct AmqpClient::Private
{
    amqp_connection_state_t state = amqp_new_connection();
    bool isOpen = false;
    bool acknowledges = false;
    int acknowledgedAtOnce = 1;
    int unacknowledged = 0;
    quint64 confirmed = 0;

    Private() = default;
    Private(const Private &) = delete;
    Private &operator=(const Private &) = delete;
    ~Private() { amqp_destroy_connection(state); }
};

AmqpClient::AmqpClient(quint16 port, const char *user)
    : d(std::make_unique<Private>())
{
    amqp_socket_t *socket = amqp_tcp_socket_new(d->state);
    timeval limit = {patience, 0};
    if (amqp_socket_open_noblock(socket, "127.0.0.1", port, &limit) != AMQP_STATUS_OK)
        return;
    amqp_set_handshake_timeout(d->state, &limit);
    amqp_set_rpc_timeout(d->state, &limit);
    const amqp_rpc_reply_t reply =
        amqp_login(d->state, "/", 0, 131072, heartbeat, AMQP_SASL_METHOD_PLAIN, user, user);
    if (reply.reply_type != AMQP_RESPONSE_NORMAL)
        return;
    amqp_channel_open(d->state, channel);
    d->isOpen = amqp_get_rpc_reply(d->state).reply_type == AMQP_RESPONSE_NORMAL;
}

AmqpClient::~AmqpClient() = default;

bool AmqpClient::isOpen() const
{
    return d->isOpen;
}

bool AmqpClient::check()
{
    const amqp_rpc_reply_t reply = amqp_get_rpc_reply(d->state);
    if (reply.reply_type != AMQP_RESPONSE_NORMAL)
        d->isOpen = false;
    return d->isOpen;
}

QByteArray AmqpClient::declareQueue(const QByteArray &name)
{
    const bool isExclusive = name.isEmpty();
    const auto *ok = amqp_queue_declare(d->state, channel, bytes(name), 0, isExclusive ? 0 : 1,
                                        isExclusive ? 1 : 0, isExclusive ? 1 : 0, amqp_empty_table);
    return check() ? copy(ok->queue) : QByteArray();
}

bool AmqpClient::declareNarrowQueue(const QByteArray &name, int messages)
{
    amqp_table_entry_t arguments[2] = {};
    arguments[0].key = amqp_cstring_bytes("x-max-length");
    arguments[0].value.kind = AMQP_FIELD_KIND_I32;
    arguments[0].value.value.i32 = messages;
    arguments[1].key = amqp_cstring_bytes("x-overflow");
    arguments[1].value.kind = AMQP_FIELD_KIND_UTF8;
    arguments[1].value.value.bytes = amqp_cstring_bytes("reject-publish");
    amqp_queue_declare(d->state, channel, bytes(name), 0, 1, 0, 0, {2, arguments});
    return check();
}

bool AmqpClient::deleteQueue(const QByteArray &name)
{
    amqp_queue_delete(d->state, channel, bytes(name), 0, 0);
    return check();
}

bool AmqpClient::declareExchange(const QByteArray &name, const char *type)
{
    amqp_exchange_declare(d->state, channel, bytes(name), amqp_cstring_bytes(type), 0, 1, 0, 0,
                          amqp_empty_table);
    return check();
}

bool AmqpClient::deleteExchange(const QByteArray &name)
{
    amqp_exchange_delete(d->state, channel, bytes(name), 0);
    return check();
}

bool AmqpClient::bind(const QByteArray &queue, const QByteArray &exchange, const QByteArray &key)
{
    amqp_queue_bind(d->state, channel, bytes(queue), bytes(exchange), bytes(key), amqp_empty_table);
    return check();
}

int AmqpClient::count(const QByteArray &queue)
{
    const auto *ok =
        amqp_queue_declare(d->state, channel, bytes(queue), 1, 0, 0, 0, amqp_empty_table);
    return check() ? int(ok->message_count) : -1;
}

bool AmqpClient::confirm()
{
    amqp_confirm_select(d->state, channel);
    return check();
}

bool AmqpClient::publish(const QByteArray &exchange, const QByteArray &key, const QByteArray &body,
                         const QByteArray &replyTo, const QByteArray &correlationId)
{
    amqp_basic_properties_t properties = {};
    properties._flags = AMQP_BASIC_DELIVERY_MODE_FLAG;
    properties.delivery_mode = 2;
    if (!replyTo.isNull()) {
        properties._flags |= AMQP_BASIC_REPLY_TO_FLAG;
        properties.reply_to = bytes(replyTo);
    }
    if (!correlationId.isNull()) {
        properties._flags |= AMQP_BASIC_CORRELATION_ID_FLAG;
        properties.correlation_id = bytes(correlationId);
    }
    if (amqp_basic_publish(d->state, channel, bytes(exchange), bytes(key), 0, 0, &properties,
                           bytes(body)) != AMQP_STATUS_OK)
        d->isOpen = false;
    return d->isOpen;
}

// Confirmations may come for many at once, but here never out of order: one channel, one queue.
bool AmqpClient::waitForConfirms(quint64 number)
{
    const timeval limit = {patience, 0};
    amqp_frame_t frame;
    while (d->isOpen && d->confirmed < number) {
        timeval left = limit;
        amqp_maybe_release_buffers(d->state);
        d->isOpen = amqp_simple_wait_frame_noblock(d->state, &frame, &left) == AMQP_STATUS_OK;
        if (!d->isOpen || frame.frame_type != AMQP_FRAME_METHOD)
            continue;
        const amqp_method_t &method = frame.payload.method;
        d->isOpen = method.id == AMQP_BASIC_ACK_METHOD; // no refusal, nor the end of the channel
        if (!d->isOpen)
            continue;
        const auto *ack = static_cast<const amqp_basic_ack_t *>(method.decoded);
        d->confirmed = ack->multiple ? ack->delivery_tag : d->confirmed + 1;
    }
    return d->isOpen;
}

bool AmqpClient::consume(const QByteArray &queue, int prefetch, int atOnce)
{
    d->acknowledges = prefetch > 0;
    d->acknowledgedAtOnce = atOnce;
    if (d->acknowledges) {
        amqp_basic_qos(d->state, channel, 0, quint16(prefetch), 0);
        if (!check())
            return false;
    }
    amqp_basic_consume(d->state, channel, bytes(queue), amqp_empty_bytes, 0,
                       d->acknowledges ? 0 : 1, 0, amqp_empty_table);
    return check();
}

std::optional<AmqpMessage> AmqpClient::next(std::chrono::milliseconds limit)
{
    amqp_envelope_t envelope;
    const timeval left = interval(limit);
    amqp_maybe_release_buffers(d->state);
    const amqp_rpc_reply_t reply = amqp_consume_message(d->state, &envelope, &left, 0);
    if (reply.reply_type != AMQP_RESPONSE_NORMAL) {
        if (reply.library_error != AMQP_STATUS_TIMEOUT)
            d->isOpen = false;
        return std::nullopt;
    }
    const amqp_basic_properties_t &properties = envelope.message.properties;
    AmqpMessage message;
    message.exchange = copy(envelope.exchange);
    message.routingKey = copy(envelope.routing_key);
    message.body = copy(envelope.message.body);
    message.isRedelivered = envelope.redelivered != 0;
    if ((properties._flags & AMQP_BASIC_CONTENT_TYPE_FLAG) != 0)
        message.contentType = copy(properties.content_type);
    if ((properties._flags & AMQP_BASIC_CORRELATION_ID_FLAG) != 0)
        message.correlationId = copy(properties.correlation_id);
    if ((properties._flags & AMQP_BASIC_REPLY_TO_FLAG) != 0)
        message.replyTo = copy(properties.reply_to);
    if ((properties._flags & AMQP_BASIC_DELIVERY_MODE_FLAG) != 0)
        message.deliveryMode = properties.delivery_mode;
    if (d->acknowledges && ++d->unacknowledged == d->acknowledgedAtOnce) {
        amqp_basic_ack(d->state, channel, envelope.delivery_tag, 1);
        d->unacknowledged = 0;
    }
    amqp_destroy_envelope(&envelope);
    return message;
}
