#include "http/contexteventcontroller.h"

#include "context/contextservice.h"
#include "http/answer.h"
#include "http/contextcontrollerstrategy.h"
#include "http/logging.h"

#include <http/server/response.h>
#include <new>

using http::server::Request;

ContextEventController::ContextEventController(ContextControllerStrategy *strategy,
                                               ContextService *contexts, Request::HttpMethod method,
                                               const QString &contextId)
    : m_strategy(strategy)
    , m_contexts(contexts)
    , m_method(method)
    , m_contextId(contextId)
    , m_place(this, contextId)
{
}

void ContextEventController::handle()
{
    requireContextId(m_contextId);
    readItem();
    if (m_method != Request::Get)
        return; // a DELETE is routed here too and never answered

    qCDebug(eventControllerLog) << "Accessing context" << m_contextId << ".";
    QJsonObject &sent = m_strategy->sentContexts()[m_contextId];
    if (sent != m_contexts->context(m_contextId).toObject()) {
        qCDebug(eventControllerLog) << "Context changed since last sent. Immediately return.";
        const QJsonValue value = m_contexts->context(m_contextId);
        sent = value.toObject();
        // When the item is lacking nothing is answered, now or later: the version counts as sent.
        m_strategy->eventHub().tell(*this, m_contextId, value);
    } else {
        qCDebug(eventControllerLog) << "Current context has already been sent. Wait for change...";
        m_strategy->eventHub().wait(m_place);
    }
}

/// "Prefer: wait=$.patient" waits for a context with the member "patient". Other preferences, a
/// time-out as in "wait=5" among them, are ignored.
void ContextEventController::readItem()
{
    const QString prefer = m_request->header(QStringLiteral("Prefer"));
    const QLatin1String marker("wait=$.");
    const int found = prefer.indexOf(marker);
    if (found < 0)
        return;
    const int start = found + marker.size();
    const int next = prefer.indexOf(marker, start);
    m_item = prefer.mid(start, next < 0 ? -1 : next - start);
    qCDebug(eventControllerLog) << "Waiting for context item" << m_item;
}

void ContextEventController::onContextChanged(const QString &id, const QJsonValue &value)
{
    if (id != m_contextId)
        return;
    if (value.isNull()) {
        setCacheHeaders();
        answer(*m_response, 404); // and goes on waiting, for the host to end it
        return;
    }
    const QJsonObject context = value.toObject();
    if (!m_item.isEmpty() && !context.contains(m_item)) {
        qCDebug(eventControllerLog)
            << "Context changed but doesnt have the item we're waiting for" << m_item;
        return;
    }
    answerWith(context);
}

void ContextEventController::answerWith(const QJsonObject &context)
{
    qCDebug(eventControllerLog) << "Context changed. Return long polling.";
    // Until the deferred deletion another change may come: nobody would receive it, so it must not
    // count as sent.
    m_place.leave();
    deleteLater();
    QByteArray text;
    try {
        text = m_strategy->eventHub().printed(context);
    } catch (const std::bad_alloc &) {
        // Too large to print. That is this client's trouble, not that of whoever made the change.
        answer(*m_response, 500);
        return;
    }
    setCacheHeaders();
    answerJson(*m_response, 200, text);
    m_strategy->sentContexts().insert(m_contextId, context);
}

void ContextEventController::setCacheHeaders()
{
    m_response->setHeader(QStringLiteral("Cache-Control"),
                          QStringLiteral("no-cache, no-store, must-revalidate"));
    m_response->setHeader(QStringLiteral("Pragma"), QStringLiteral("no-cache"));
    m_response->setHeader(QStringLiteral("Expires"), QStringLiteral("0"));
}
