#pragma once

#include <QtCore/QString>
#include <http/controller.h>

class ContextService;

/// POST /context/{id}/$form: accepted and never answered; clients that post forms do not wait for
/// an answer, and the host or the client gives the connection up. Made per request and owned by the
/// host; lives on the event-loop thread.
class ContextFormController final : public http::Controller
{
public:
    ContextFormController(ContextService *contexts, const QString &contextId);

    void handle() override;

private:
    [[maybe_unused]] ContextService *m_contexts;
    QString m_contextId;
};
