#include "message/messagestructure.h"

#include "message/timestamp.h"

#include <QtCore/QLoggingCategory>

namespace {

Q_LOGGING_CATEGORY(structureLog, "ch.brenlo.kavo.z9.common.structure.chunk.addmessage")

bool readString(const QJsonValue &value, QString &field)
{
    if (!value.isString())
        return false;
    field = value.toString();
    return true;
}

void readTimestamp(const QJsonValue &value, Message &message)
{
    QDateTime timestamp;
    if (value.isString() && timestampFromString(value.toString(), timestamp))
        message.timestamp = timestamp;
}

void readLifetime(const QJsonObject &json, Message &message)
{
    const QString type = json.value(QLatin1String("type")).toString();
    if (type == QLatin1String("momentary")) {
        message.lifetimeKind = MessageLifetime::Momentary;
    } else if (type == QLatin1String("persistent")) {
        message.lifetimeKind = MessageLifetime::Persistent;
    } else if (type == QLatin1String("customlifetime")) {
        const QJsonValue lifetime = json.value(QLatin1String("lifetime"));
        if (!lifetime.isString())
            return;
        message.lifetimeKind = MessageLifetime::CustomLifetime;
        message.customLifetime = lifetime.toString().toLongLong(); // 0 for what is no number
    }
}

} // namespace

bool messagesArrayFromChunk(const QJsonValue &chunk, QJsonArray &array)
{
    if (!chunk.isObject())
        return false;
    const QJsonObject object = chunk.toObject();
    if (object.value(QLatin1String("exchange")) != QLatin1String("kavo-context-add-messages"))
        return false;

    const QJsonValue messages = object.value(QLatin1String("messages"));
    if (!messages.isArray()) {
        qCDebug(structureLog) << "Expected message array in chunk was not an array: " << messages;
        return false;
    }
    array = messages.toArray();
    return true;
}

void messagesFromArray(const QJsonArray &array, QVector<Message> &messages)
{
    for (const QJsonValue &element : array) {
        if (!element.isObject())
            continue;
        Message message;
        if (messageFromJson(element.toObject(), message))
            messages.append(message);
    }
}

bool messageFromJson(const QJsonObject &json, Message &message)
{
    if (!readString(json.value(QLatin1String("id")), message.id) ||
        !readString(json.value(QLatin1String("title")), message.title))
        return false;
    readString(json.value(QLatin1String("subtitle")), message.subtitle);
    if (!readString(json.value(QLatin1String("text")), message.text))
        return false;
    readTimestamp(json.value(QLatin1String("timestamp")), message);
    readLifetime(json, message);
    return true;
}

QJsonObject messageToJson(const Message &message)
{
    QJsonObject json{
        {QStringLiteral("id"), message.id},
        {QStringLiteral("title"), message.title},
        {QStringLiteral("subtitle"), message.subtitle},
        {QStringLiteral("text"), message.text},
        {QStringLiteral("timestamp"), timestampToString(message.timestamp)},
    };
    switch (message.lifetimeKind) {
    case MessageLifetime::Momentary:
        break;
    case MessageLifetime::CustomLifetime:
        json.insert(QStringLiteral("type"), QStringLiteral("customlifetime"));
        json.insert(QStringLiteral("lifetime"), QString::number(message.customLifetime));
        break;
    case MessageLifetime::Persistent:
        json.insert(QStringLiteral("type"), QStringLiteral("persistent"));
        break;
    }
    return json;
}

QJsonDocument messagesToDocument(const QVector<Message> &messages)
{
    QJsonArray array;
    for (const Message &message : messages)
        array.append(messageToJson(message));
    return QJsonDocument(array);
}

void stringListFromArray(const QJsonArray &array, QStringList &list)
{
    for (const QJsonValue &element : array) {
        if (element.isString())
            list.append(element.toString());
    }
}

bool arrayFromDocument(const QJsonDocument &document, QJsonArray &array)
{
    if (!document.isArray())
        return false;
    array = document.array();
    return true;
}
