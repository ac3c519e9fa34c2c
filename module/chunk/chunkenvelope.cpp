#include "chunk/chunkenvelope.h"

namespace {

// "reply-to" names the kind of address before the queue; the exchange wants the queue alone.
constexpr int ReplyToPrefixLength = 9;

QJsonValue nullUnlessDefined(const QJsonValue &value)
{
    return value.isUndefined() ? QJsonValue(QJsonValue::Null) : value;
}

} // namespace

ChunkEnvelope::ChunkEnvelope(const QJsonValue &chunk)
    : m_chunk(chunk.toObject())
{
}

bool ChunkEnvelope::isOn(const QString &exchange) const
{
    return m_chunk.value(QLatin1String("exchange")).toString() == exchange;
}

QJsonObject ChunkEnvelope::body() const
{
    return m_chunk.value(QLatin1String("body")).toObject();
}

QJsonValue ChunkEnvelope::source() const
{
    return m_chunk.value(QLatin1String("source"));
}

QJsonObject ChunkEnvelope::reply(const QJsonValue &body) const
{
    const QJsonObject properties = m_chunk.value(QLatin1String("properties")).toObject();
    const QString replyTo = properties.value(QLatin1String("reply-to")).toString();
    const QJsonValue correlationId = properties.value(QLatin1String("correlation-id"));
    return {
        {QStringLiteral("exchange"), replyTo.mid(ReplyToPrefixLength)},
        {QStringLiteral("properties"),
         QJsonObject{{QStringLiteral("correlation-id"), nullUnlessDefined(correlationId)}}},
        {QStringLiteral("body"), body},
    };
}
