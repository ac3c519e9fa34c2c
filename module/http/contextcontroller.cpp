#include "http/contextcontroller.h"

#include "common/parsejson.h"
#include "context/contextservice.h"
#include "http/answer.h"
#include "http/logging.h"

#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>
#include <http/server/response.h>

using http::server::Request;

ContextController::ContextController(ContextService *contexts, Request::HttpMethod method,
                                     const QString &contextId)
    : m_contexts(contexts)
    , m_method(method)
    , m_contextId(contextId)
{
}

void ContextController::handle()
{
    requireContextId(m_contextId);
    switch (m_method) {
    case Request::Delete:
        handleDelete();
        break;
    case Request::Get:
        handleGet();
        break;
    case Request::Put:
        handlePut();
        break;
    default:
        break;
    }
}

void ContextController::handleDelete()
{
    // Answered twice when there is nothing to delete: a client learns that from the first answer,
    // services learn of the removal in any case.
    if (m_contexts->context(m_contextId).isNull())
        answer(*m_response, 404, QByteArrayLiteral("Context not found."));
    qCDebug(controllerLog) << "Deleting context" << m_contextId << ".";
    m_contexts->removeContext(m_contextId);
    answer(*m_response, 204);
}

void ContextController::handleGet()
{
    qCDebug(controllerLog) << "Accessing context" << m_contextId << ".";
    if (m_contexts->context(m_contextId).isNull())
        answer(*m_response, 404);
    else
        answerJson(*m_response, 200, m_contexts->printedContext(m_contextId));
}

void ContextController::handlePut()
{
    qCDebug(controllerLog) << "Setting context" << m_contextId << ".";
    const QJsonDocument posted = common::parseJson(m_request->body());
    const int status = m_contexts->context(m_contextId).isNull() ? 201 : 200;
    const QJsonValue merged = m_contexts->updateContext(m_contextId, posted.object());
    // What was merged is not always what is stored: a change empties the stored matching items.
    // Nothing is merged into a value that is no object: the client gets its own text back.
    const QByteArray text = merged.isObject()
                                ? m_contexts->printedContext(m_contextId, merged.toObject())
                                : posted.toJson();
    answerJson(*m_response, status, text);
}
