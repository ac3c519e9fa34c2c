#include "http/messageeventcontroller.h"

#include "http/answer.h"
#include "http/logging.h"
#include "message/messageservice.h"

#include <http/server/response.h>

MessageEventController::MessageEventController(MessageService *messages)
    : m_messages(messages)
{
}

void MessageEventController::handle()
{
    if (m_messages->hasMessages()) {
        qCDebug(eventControllerLog) << "There are outstanding messages. Immediately return.";
        onMessagesAvailable();
    } else {
        qCDebug(eventControllerLog) << "Wait for messages becoming available...";
        connect(m_messages, &MessageService::messagesAvailable, this,
                &MessageEventController::onMessagesAvailable);
    }
}

void MessageEventController::onMessagesAvailable()
{
    // First of all: a further message must not reach a controller that has answered.
    qCDebug(eventControllerLog) << "Trying to disconnect...";
    disconnect(m_messages, &MessageService::messagesAvailable, this,
               &MessageEventController::onMessagesAvailable);
    qCDebug(eventControllerLog) << "Messages have become available. Returning long-polling.";
    answerJson(*m_response, 200, m_messages->messagesDocument().toJson());
    deleteLater();
}
