#pragma once

#include "http/contexteventhub.h"

#include <QtCore/QJsonObject>
#include <QtCore/QJsonValue>
#include <QtCore/QObject>
#include <QtCore/QString>
#include <http/controller.h>
#include <http/server/request.h>

class ContextControllerStrategy;
class ContextService;

/// GET /context/{id}/event: answers with the context at once when it differs from what this route
/// delivered last, and otherwise when it changes next. The host owns it until its answer: after a
/// 200 it deletes itself. Lives on the event-loop thread, possibly for hours and in thousands, so
/// it is kept small.
class ContextEventController final : public QObject, public http::Controller
{
    Q_OBJECT

public:
    ContextEventController(ContextControllerStrategy *strategy, ContextService *contexts,
                           http::server::Request::HttpMethod method, const QString &contextId);

    void handle() override;

public Q_SLOTS:
    /// Finishes the exchange: 404 when `value` is null, else 200, unless the context lacks the item
    /// that the client waits for.
    void onContextChanged(const QString &id, const QJsonValue &value);

private:
    void readItem();
    void setCacheHeaders();
    void answerWith(const QJsonObject &context);

    ContextControllerStrategy *m_strategy;
    QString m_item; ///< the member that the client waits for; empty: any change will do
    ContextService *m_contexts;
    http::server::Request::HttpMethod m_method;
    QString m_contextId;
    ContextEventHub::Place m_place;
};
