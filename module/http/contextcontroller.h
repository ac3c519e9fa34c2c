#pragma once

#include <QtCore/QString>
#include <http/controller.h>
#include <http/server/request.h>

class ContextService;

/// GET, PUT and DELETE of /context/{id}: reads one context, merges into it, removes it. Made per
/// request and owned by the host; lives on the event-loop thread.
class ContextController final : public http::Controller
{
public:
    ContextController(ContextService *contexts, http::server::Request::HttpMethod method,
                      const QString &contextId);

    void handle() override;

private:
    void handleGet();
    void handlePut();
    void handleDelete();

    ContextService *m_contexts;
    http::server::Request::HttpMethod m_method;
    QString m_contextId;
};
