#pragma once

#include "message/message.h"

#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>
#include <QtCore/QStringList>
#include <QtCore/QVector>

/// The JSON form of messages, of the chunk that brings them and of the list of acknowledged ids.
/// Reading is lenient: what is no message, or no id, is left out silently.

/// Takes "messages" out of a chunk of the exchange "kavo-context-add-messages". False for every
/// other chunk, and for one whose "messages" is no array.
bool messagesArrayFromChunk(const QJsonValue &chunk, QJsonArray &array);

/// Appends the valid messages of `array`, in its order.
void messagesFromArray(const QJsonArray &array, QVector<Message> &messages);

/// False when "id", "title" or "text" is no string; `message` is then filled in part. A timestamp
/// that cannot be read does not reject the message.
bool messageFromJson(const QJsonObject &json, Message &message);

/// A momentary message is written without "type": clients take the missing member for momentary.
QJsonObject messageToJson(const Message &message);

QJsonDocument messagesToDocument(const QVector<Message> &messages);

/// Appends the strings of `array`, in its order.
void stringListFromArray(const QJsonArray &array, QStringList &list);

/// False when the top level of `document` is no array.
bool arrayFromDocument(const QJsonDocument &document, QJsonArray &array);
