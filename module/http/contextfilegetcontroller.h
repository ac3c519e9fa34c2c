#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QString>
#include <http/controller.h>

class ContextService;

/// GET /context/{id}/file/{name}: the bytes of a context's file, raw, as a download or in base64. A
/// DELETE of that path is routed here too and answered in the same way; it removes nothing. Made
/// per request and owned by the host; lives on the event-loop thread.
class ContextFileGetController final : public http::Controller
{
public:
    /// `desiredFileName` is what a download is to be saved as; empty leaves that to the client.
    ContextFileGetController(ContextService *contexts, const QString &contextId,
                             const QString &fileName, bool download,
                             const QString &desiredFileName);

    void handle() override;

private:
    void answerWith(const QByteArray &bytes);
    QString disposition() const;

    ContextService *m_contexts;
    QString m_contextId;
    QString m_fileName;
    bool m_download;
    QString m_desiredFileName;
};
