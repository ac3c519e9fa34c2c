#include "http/contextcontrollerstrategy.h"

#include "http/answer.h"
#include "http/contextcontroller.h"
#include "http/contextcreatecontroller.h"
#include "http/contextcredentialscontroller.h"
#include "http/contexteventcontroller.h"
#include "http/contextfilegetcontroller.h"
#include "http/contextfilepostcontroller.h"
#include "http/contextformcontroller.h"
#include "http/logging.h"
#include "http/messagecontroller.h"
#include "http/messageeventcontroller.h"
#include "http/routes.h"

#include <QtCore/QUrl>
#include <QtCore/QUrlQuery>

using http::Controller;
using http::server::Request;

namespace {

/// JSON must call itself exactly that: a charset parameter is refused.
bool isJsonOrUntyped(const Request &request)
{
    const QString type = request.header(contentTypeHeader());
    return type.isEmpty() || type == jsonType();
}

} // namespace

ContextControllerStrategy::ContextControllerStrategy(ContextService *contexts,
                                                     MessageService *messages)
    : m_contexts(contexts)
    , m_messages(messages)
    , m_eventHub(contexts)
{
}

Controller *ContextControllerStrategy::createController(std::shared_ptr<Request> request)
{
    // A parameter may live until its caller's full expression ends; this reference goes on return.
    const std::shared_ptr<Request> held = std::move(request);
    const Route route = findRoute(held->method(), held->url());
    if (route.row == Route::MessageEvent)
        qCDebug(controllerLog) << "Received request matching message event polling URL";
    else if (route.row == Route::Message)
        qCDebug(controllerLog) << "Received request matching message URL";
    if (hasTypeCheck(route.row) && !isJsonOrUntyped(*held))
        return nullptr;
    return createFor(route, *held);
}

Controller *ContextControllerStrategy::createFor(const Route &route, const Request &request)
{
    const QString &id = route.contextId;
    switch (route.row) {
    case Route::FileGet:
        return createFileGet(route, request);
    case Route::Event:
        return new ContextEventController(this, m_contexts, request.method(), id);
    case Route::MessageEvent:
        return new MessageEventController(m_messages);
    case Route::Context:
        return new ContextController(m_contexts, request.method(), id);
    case Route::ContextCreate:
        return new ContextCreateController(m_contexts);
    case Route::FilePost:
        return new ContextFilePostController(m_contexts, id);
    case Route::Form:
        return new ContextFormController(m_contexts, id);
    case Route::Credentials:
        return new ContextCredentialsController(m_host, request.method(), id);
    case Route::Message:
        return new MessageController(m_messages, request.method());
    case Route::None:
        break;
    }
    return nullptr;
}

Controller *ContextControllerStrategy::createFileGet(const Route &route,
                                                     const Request &request) const
{
    const QUrlQuery query(request.url());
    const bool download = query.queryItemValue(QStringLiteral("download")) == QLatin1String("true");
    return new ContextFileGetController(m_contexts, route.contextId, route.fileName, download,
                                        query.queryItemValue(QStringLiteral("filename")));
}
