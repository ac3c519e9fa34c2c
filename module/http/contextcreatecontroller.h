#pragma once

#include <QtCore/QJsonObject>
#include <http/controller.h>

class ContextService;

/// POST /context: stores a posted JSON object as a new context, with its id as member "_id", and
/// answers with the context or, for a client that accepts plain text, with the id. Made per request
/// and owned by the host; lives on the event-loop thread.
class ContextCreateController final : public http::Controller
{
public:
    explicit ContextCreateController(ContextService *contexts);

    void handle() override;

private:
    QJsonObject postedObject();

    ContextService *m_contexts;
};
