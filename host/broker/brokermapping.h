#pragma once

#include "broker/brokermessage.h"

#include <QtCore/QString>

#include <optional>

namespace host {

/// Names, keys and ids on the broker are texts of at most this many bytes.
constexpr int longestBrokerText = 255;

/// What decides where the module's chunks go.
struct BrokerRouting
{
    QString workstation;
    QString eventExchange; ///< for chunks without an "exchange"
};

/// The chunk that a message carries: its JSON object, with "exchange", "properties"/"reply-to" and
/// "properties"/"correlation-id" as the broker has them. Empty, with what is wrong in `fault`, when
/// the body is no JSON object; the fault repeats nothing of the body.
std::optional<QJsonObject> chunkFromMessage(const IncomingMessage &message, QString *fault);

/// The message for a chunk that is no reply to a request from the broker. Empty, with the reason in
/// `fault`, for one that has no way there.
std::optional<OutgoingMessage> messageFromChunk(const QJsonObject &chunk,
                                                const BrokerRouting &routing, QString *fault);

/// The message for a chunk that is the reply to a request from the broker.
OutgoingMessage replyFromChunk(const QJsonObject &chunk, const ReplyAddress &address);

/// "properties"/"correlation-id" of a chunk; null where it has none.
QJsonValue correlationOf(const QJsonObject &chunk);

} // namespace host
