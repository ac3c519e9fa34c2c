#pragma once

#include <QtCore/QString>
#include <http/controller.h>

class ContextService;

/// POST /context/{id}/file: stores every part of a multipart form as a file of the context, all of
/// them with the same document type. Made per request and owned by the host; lives on the
/// event-loop thread.
class ContextFilePostController final : public http::Controller
{
public:
    ContextFilePostController(ContextService *contexts, const QString &contextId);

    void handle() override;

private:
    ContextService *m_contexts;
    QString m_contextId;
};
