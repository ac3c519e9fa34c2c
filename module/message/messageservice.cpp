#include "message/messageservice.h"

#include "message/messagestructure.h"

#include <QtCore/QLoggingCategory>
#include <utility>

namespace {

Q_LOGGING_CATEGORY(messageServiceLog, "ch.brenlo.kavo-service.context.messageservice")

} // namespace

void MessageService::addMessage(Message message)
{
    qCDebug(messageServiceLog) << "Adding message with title " << message.title;
    const QString id = message.id;
    m_messageIds.insert(id);
    m_messages[id] = std::move(message);
    Q_EMIT messagesAvailable();
}

void MessageService::removeMessages(const QStringList &ids)
{
    for (const QString &id : ids) {
        m_messageIds.remove(id);
        m_messages.remove(id);
    }
}

QJsonDocument MessageService::messagesDocument() const
{
    QVector<Message> messages;
    messages.reserve(m_messages.size());
    for (const QString &id : m_messageIds) {
        const auto message = m_messages.constFind(id);
        if (message != m_messages.constEnd())
            messages.append(*message);
    }
    return messagesToDocument(messages);
}

bool MessageService::hasMessages() const
{
    return !m_messages.isEmpty();
}
