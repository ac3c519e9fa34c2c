#include "broker/brokermapping.h"

#include "common/jsontext.h"
#include "common/parsejson.h"

#include <QtCore/QJsonDocument>

namespace host {
namespace {

const QLatin1String exchangeKey("exchange");
const QLatin1String propertiesKey("properties");
const QLatin1String replyToKey("reply-to");
const QLatin1String correlationKey("correlation-id");

// The text without its last character where that is cut in two.
QByteArray cutToFit(QByteArray text)
{
    if (text.size() <= longestBrokerText)
        return text;
    int end = longestBrokerText;
    while (end > 0 && (uchar(text.at(end)) & 0xc0U) == 0x80U)
        --end;
    text.truncate(end);
    return text;
}

QString eventName(const QJsonObject &chunk, const QString &exchange)
{
    const QJsonValue data = chunk.value(QLatin1String("data"));
    const QString event = data.toObject().value(QLatin1String("event")).toString();
    return event.isEmpty() ? exchange : event;
}

// A correlation id may be any JSON value, but is a text on the broker.
QByteArray correlationText(const QJsonValue &value)
{
    if (value.isNull() || value.isUndefined())
        return QByteArray();
    QByteArray text;
    if (value.isString()) {
        text = value.toString().toUtf8();
        if (text.isNull())
            text = QByteArrayLiteral("");
    } else {
        const QByteArray member = common::compactJson({{QStringLiteral("v"), value}});
        text = member.mid(int(sizeof("{\"v\":")) - 1);
        text.chop(1);
    }
    return text.size() <= longestBrokerText ? text : QByteArray(); // the body has it all the same
}

} // namespace

QJsonValue correlationOf(const QJsonObject &chunk)
{
    const QJsonValue id = chunk.value(propertiesKey).toObject().value(correlationKey);
    return id.isUndefined() ? QJsonValue(QJsonValue::Null) : id;
}

std::optional<QJsonObject> chunkFromMessage(const IncomingMessage &message, QString *fault)
{
    QJsonParseError error;
    const QJsonDocument document = common::parseJson(message.body, &error);
    if (error.error != QJsonParseError::NoError) {
        *fault =
            QStringLiteral("no JSON: %1 at offset %2").arg(error.errorString()).arg(error.offset);
        return std::nullopt;
    }
    if (!document.isObject()) {
        *fault = QStringLiteral("a JSON array, not an object");
        return std::nullopt;
    }
    QJsonObject chunk = document.object();
    chunk.insert(exchangeKey, QString::fromUtf8(message.exchange));
    if (message.replyTo.isEmpty() && message.correlationId.isNull())
        return chunk;
    QJsonObject properties = chunk.value(propertiesKey).toObject();
    if (!message.replyTo.isEmpty())
        properties.insert(replyToKey,
                          QStringLiteral("exchange:") + QString::fromUtf8(message.replyTo));
    if (!message.correlationId.isNull())
        properties.insert(correlationKey, QString::fromUtf8(message.correlationId));
    chunk.insert(propertiesKey, properties);
    return chunk;
}

std::optional<OutgoingMessage> messageFromChunk(const QJsonObject &chunk,
                                                const BrokerRouting &routing, QString *fault)
{
    const QJsonValue named = chunk.value(exchangeKey);
    const QString exchange = named.isString() ? named.toString() : routing.eventExchange;
    if (exchange.isEmpty()) {
        *fault = QStringLiteral("a reply to a request that named no place for it");
        return std::nullopt;
    }
    OutgoingMessage message;
    message.exchange = exchange.toUtf8();
    if (message.exchange.size() > longestBrokerText) {
        *fault =
            QStringLiteral("its exchange's name is longer than %1 bytes").arg(longestBrokerText);
        return std::nullopt;
    }
    const QString event = eventName(chunk, exchange);
    message.routingKey = cutToFit(routing.workstation.toUtf8() + '.' + event.toUtf8());
    message.correlationId = correlationText(correlationOf(chunk));
    message.body = common::compactJson(chunk);
    return message;
}

OutgoingMessage replyFromChunk(const QJsonObject &chunk, const ReplyAddress &address)
{
    OutgoingMessage message;
    message.routingKey = address.queue;
    message.correlationId = address.correlationId.isNull() ? correlationText(correlationOf(chunk))
                                                           : address.correlationId;
    message.body = common::compactJson(chunk);
    return message;
}

} // namespace host
