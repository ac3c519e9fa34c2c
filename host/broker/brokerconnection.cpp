#include "broker/brokerconnection.h"

#include "broker/brokerframes.h"

#include <amqp.h>
#include <amqp_framing.h>
#include <amqp_ssl_socket.h>
#include <amqp_tcp_socket.h>
#include <sys/time.h>

namespace host {
namespace {

constexpr int frameSize = 128 * 1024;
constexpr int persistent = 2;

constexpr int consuming = 1;
constexpr int declaring = 2;
constexpr int publishing = 3;
constexpr int otherPublishing = 4; // by turns, so that nothing late is taken for something new

timeval interval(std::chrono::milliseconds length)
{
    return {time_t(length.count() / 1000), suseconds_t(length.count() % 1000 * 1000)};
}

BrokerFailure closedBy(const amqp_method_t &method)
{
    return BrokerFailure(
        QStringLiteral("the broker closed the connection: %1").arg(reasonOf(method)));
}

amqp_table_entry_t able(const char *capability)
{
    amqp_table_entry_t entry;
    entry.key = amqp_cstring_bytes(capability);
    entry.value.kind = AMQP_FIELD_KIND_BOOLEAN;
    entry.value.value.boolean = 1;
    return entry;
}

} // namespace

struct BrokerConnection::Private
{
    amqp_connection_state_t state = amqp_new_connection();
    qint64 largestBody = 0;
    int publishing = host::publishing; ///< the channel in use

    Private() = default;
    Private(const Private &) = delete;
    Private &operator=(const Private &) = delete;
    ~Private() { amqp_destroy_connection(state); }
};

BrokerConnection::BrokerConnection(const BrokerSettings &settings)
    : d(std::make_unique<Private>())
{
    d->largestBody = settings.limits.body;
    open(settings);
}

BrokerConnection::~BrokerConnection() = default;

int BrokerConnection::descriptor() const
{
    return amqp_get_sockfd(d->state);
}

void BrokerConnection::open(const BrokerSettings &settings)
{
    const BrokerAddress &address = settings.address;
    amqp_socket_t *socket = nullptr; // the connection's
    if (address.encrypted) {
        socket = amqp_ssl_socket_new(d->state);
        amqp_ssl_socket_set_verify_peer(socket, 1);
        amqp_ssl_socket_set_verify_hostname(socket, 1);
        amqp_ssl_socket_set_ssl_versions(socket, AMQP_TLSv1_2, AMQP_TLSvLATEST);
        if (amqp_ssl_socket_set_cacert(socket, address.certificates.constData()) != AMQP_STATUS_OK)
            throw BrokerFailure(QStringLiteral("cannot read the certificates in %1")
                                    .arg(QString::fromLocal8Bit(address.certificates)));
    } else {
        socket = amqp_tcp_socket_new(d->state);
    }
    timeval limit = interval(settings.limits.connect);
    check(amqp_socket_open_noblock(socket, address.host.constData(), address.port, &limit),
          "no connection");
}

void BrokerConnection::logIn(const BrokerSettings &settings, const QByteArray &name)
{
    const timeval limit = interval(settings.limits.connect);
    amqp_set_handshake_timeout(d->state, &limit);
    amqp_set_rpc_timeout(d->state, &limit);

    amqp_table_entry_t abilities[] = {able("connection.blocked"), able("consumer_cancel_notify"),
                                      able("publisher_confirms")};
    amqp_table_entry_t properties[2];
    properties[0].key = amqp_cstring_bytes("connection_name");
    properties[0].value.kind = AMQP_FIELD_KIND_UTF8;
    properties[0].value.value.bytes = bytes(name);
    properties[1].key = amqp_cstring_bytes("capabilities");
    properties[1].value.kind = AMQP_FIELD_KIND_TABLE;
    properties[1].value.value.table = {3, abilities};
    const amqp_table_t table{2, properties};

    const BrokerAddress &address = settings.address;
    const amqp_rpc_reply_t reply = amqp_login_with_properties(
        d->state, address.vhost.constData(), AMQP_DEFAULT_MAX_CHANNELS, frameSize,
        int(settings.limits.heartbeat.count()), &table, AMQP_SASL_METHOD_PLAIN,
        address.user.constData(), address.password.constData());
    if (reply.reply_type == AMQP_RESPONSE_LIBRARY_EXCEPTION)
        check(reply.library_error, "no login");
    if (reply.reply_type == AMQP_RESPONSE_SERVER_EXCEPTION)
        throw closedBy(reply.reply);
    for (const int channel : {consuming, declaring, publishing})
        openChannel(channel);
    const timeval answer = interval(settings.limits.answer);
    amqp_set_rpc_timeout(d->state, &answer);
}

void BrokerConnection::check(int status, const char *doing) const
{
    if (status >= 0)
        return;
    throw BrokerFailure(QStringLiteral("%1: %2").arg(
        QLatin1String(doing), QString::fromLocal8Bit(amqp_error_string2(status))));
}

std::optional<ChannelFault> BrokerConnection::outcome(int channel, const char *doing)
{
    const amqp_rpc_reply_t reply = amqp_get_rpc_reply(d->state);
    if (reply.reply_type == AMQP_RESPONSE_NORMAL)
        return std::nullopt;
    if (reply.reply_type != AMQP_RESPONSE_SERVER_EXCEPTION) {
        check(reply.library_error, doing);
        throw BrokerFailure(QStringLiteral("%1: no answer").arg(QLatin1String(doing)));
    }
    if (reply.reply.id != AMQP_CHANNEL_CLOSE_METHOD)
        throw closedBy(reply.reply);
    const ChannelFault fault = faultOf(reply.reply);
    agreeToClose(channel);
    openChannel(channel);
    return fault;
}

void BrokerConnection::openChannel(int channel)
{
    amqp_channel_open(d->state, amqp_channel_t(channel));
    if (amqp_get_rpc_reply(d->state).reply_type != AMQP_RESPONSE_NORMAL)
        throw BrokerFailure(QStringLiteral("the broker opens no channel"));
}

// What the broker closed is closed for good once we agree.
void BrokerConnection::agreeToClose(int channel)
{
    amqp_channel_close_ok_t ok = {};
    check(amqp_send_method(d->state, amqp_channel_t(channel), AMQP_CHANNEL_CLOSE_OK_METHOD, &ok),
          "closing a channel");
    amqp_maybe_release_buffers_on_channel(d->state, amqp_channel_t(channel));
}

std::optional<ChannelFault> BrokerConnection::declareExchange(const QByteArray &name)
{
    amqp_exchange_declare(d->state, declaring, bytes(name), amqp_cstring_bytes("topic"), 0, 1, 0, 0,
                          amqp_empty_table);
    return outcome(declaring, "declaring an exchange");
}

std::optional<ChannelFault> BrokerConnection::findExchange(const QByteArray &name)
{
    amqp_exchange_declare(d->state, declaring, bytes(name), amqp_cstring_bytes("topic"), 1, 1, 0, 0,
                          amqp_empty_table);
    return outcome(declaring, "looking for an exchange");
}

std::optional<ChannelFault> BrokerConnection::declareQueue(const QByteArray &name)
{
    amqp_queue_declare(d->state, declaring, bytes(name), 0, 1, 0, 0, amqp_empty_table);
    return outcome(declaring, "declaring the queue");
}

std::optional<ChannelFault> BrokerConnection::findQueue(const QByteArray &name)
{
    amqp_queue_declare(d->state, declaring, bytes(name), 1, 1, 0, 0, amqp_empty_table);
    return outcome(declaring, "looking for the queue");
}

std::optional<ChannelFault> BrokerConnection::bindQueue(const QByteArray &queue,
                                                        const QByteArray &exchange,
                                                        const QByteArray &key)
{
    amqp_queue_bind(d->state, declaring, bytes(queue), bytes(exchange), bytes(key),
                    amqp_empty_table);
    return outcome(declaring, "binding the queue");
}

std::optional<ChannelFault> BrokerConnection::consume(const QByteArray &queue, int prefetch)
{
    amqp_basic_qos(d->state, consuming, 0, quint16(prefetch), 0);
    if (auto fault = outcome(consuming, "limiting deliveries"))
        return fault;
    amqp_basic_consume(d->state, consuming, bytes(queue), amqp_empty_bytes, 0, 0, 0,
                       amqp_empty_table);
    return outcome(consuming, "consuming");
}

void BrokerConnection::confirmPublishing()
{
    amqp_confirm_select(d->state, amqp_channel_t(d->publishing));
    if (const auto fault = outcome(d->publishing, "asking for confirmations"))
        throw BrokerFailure(fault->text);
}

void BrokerConnection::reopenPublishing()
{
    agreeToClose(d->publishing);
    openChannel(d->publishing);
    confirmPublishing();
}

void BrokerConnection::renewPublishing()
{
    const auto reply =
        amqp_channel_close(d->state, amqp_channel_t(d->publishing), AMQP_REPLY_SUCCESS);
    if (reply.reply_type != AMQP_RESPONSE_NORMAL)
        throw BrokerFailure(QStringLiteral("a channel does not close"));
    d->publishing = d->publishing == publishing ? otherPublishing : publishing;
    openChannel(d->publishing);
    confirmPublishing();
}

void BrokerConnection::publish(const OutgoingMessage &message)
{
    amqp_basic_properties_t properties = {};
    properties._flags = AMQP_BASIC_CONTENT_TYPE_FLAG | AMQP_BASIC_DELIVERY_MODE_FLAG;
    properties.content_type = amqp_cstring_bytes("application/json");
    properties.delivery_mode = persistent;
    if (!message.correlationId.isNull()) {
        properties._flags |= AMQP_BASIC_CORRELATION_ID_FLAG;
        properties.correlation_id = bytes(message.correlationId);
    }
    check(amqp_basic_publish(d->state, amqp_channel_t(d->publishing), bytes(message.exchange),
                             bytes(message.routingKey), 0, 0, &properties, bytes(message.body)),
          "publishing");
}

void BrokerConnection::acknowledge(quint64 tag)
{
    check(amqp_basic_ack(d->state, consuming, tag, 1), "acknowledging");
}

void BrokerConnection::reject(quint64 tag)
{
    check(amqp_basic_reject(d->state, consuming, tag, 0), "rejecting");
}

BrokerEvent BrokerConnection::receive()
{
    timeval now = {};
    amqp_frame_t frame;
    for (;;) {
        const int status = amqp_simple_wait_frame_noblock(d->state, &frame, &now);
        if (status == AMQP_STATUS_TIMEOUT)
            return {};
        check(status, "the connection is lost");
        const bool isLate = frame.channel >= publishing && frame.channel != d->publishing;
        if (frame.frame_type != AMQP_FRAME_METHOD || isLate)
            continue;
        const amqp_method_t &method = frame.payload.method;
        if (method.id == AMQP_CONNECTION_CLOSE_METHOD)
            throw closedBy(method);
        if (method.id == AMQP_BASIC_DELIVER_METHOD) {
            const auto *deliver = static_cast<const amqp_basic_deliver_t *>(method.decoded);
            return readMessage(deliver->delivery_tag, copy(deliver->exchange));
        }
        BrokerEvent event = eventOf(method);
        event.isPublishing = frame.channel == d->publishing;
        if (event.kind != BrokerEvent::None)
            return event;
    }
}

BrokerEvent BrokerConnection::readMessage(quint64 tag, const QByteArray &exchange)
{
    amqp_message_t message;
    const amqp_rpc_reply_t reply = amqp_read_message(d->state, consuming, &message, 0);
    if (reply.reply_type != AMQP_RESPONSE_NORMAL) {
        check(reply.library_error, "reading a message");
        throw BrokerFailure(QStringLiteral("reading a message: it has no end"));
    }
    BrokerEvent event = eventOf(message, d->largestBody);
    amqp_destroy_message(&message);
    event.tag = tag;
    event.message.exchange = exchange;
    return event;
}

void BrokerConnection::releaseBuffers()
{
    amqp_maybe_release_buffers(d->state);
}

void BrokerConnection::close()
{
    const timeval brief = {1, 0};
    amqp_set_rpc_timeout(d->state, &brief);
    amqp_connection_close(d->state, AMQP_REPLY_SUCCESS);
}

} // namespace host
