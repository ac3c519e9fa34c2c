#include "chunk/addmessagesbehaviour.h"

#include "message/messageservice.h"
#include "message/messagestructure.h"

#include <QtCore/QDebug>
#include <QtCore/QLoggingCategory>

Q_LOGGING_CATEGORY(lcAddMessages, "ch.brenlo.kavo-service.context.addmessagesbehaviour")

AddMessagesBehaviour::AddMessagesBehaviour(MessageService *messages)
    : m_messages(messages)
{
}

void AddMessagesBehaviour::handle(const QJsonValue &chunk)
{
    QJsonArray array;
    if (!messagesArrayFromChunk(chunk, array))
        return;
    qCDebug(lcAddMessages) << "Chunk received";
    QVector<Message> messages;
    messagesFromArray(array, messages);
    for (const Message &message : qAsConst(messages))
        m_messages->addMessage(message);
}
