#include "http/messagecontroller.h"

#include "common/parsejson.h"
#include "http/answer.h"
#include "message/messageservice.h"
#include "message/messagestructure.h"

#include <QtCore/QLoggingCategory>
#include <http/server/response.h>

using http::server::Request;

namespace {

Q_LOGGING_CATEGORY(log, "ch.brenlo.kavo-service.context.messagecontroller")

} // namespace

MessageController::MessageController(MessageService *messages, Request::HttpMethod method)
    : m_messages(messages)
    , m_method(method)
{
}

void MessageController::handle()
{
    qCDebug(log) << "Processing Message update request";
    QJsonArray array;
    if (arrayFromDocument(common::parseJson(m_request->body()), array)) {
        QStringList ids;
        stringListFromArray(array, ids);
        m_messages->removeMessages(ids);
    }
    answerJson(*m_response, 200, m_messages->messagesDocument().toJson());
}
