#pragma once

#include <QtCore/QJsonArray>
#include <QtCore/QString>
#include <http/controller.h>
#include <http/server/request.h>

class ChunkPublisher;

/// POST /context/{id}/credentials: publishes the posted credentials for other services of the host
/// and keeps none of them. Made per request and owned by the host; lives on the event-loop thread.
class ContextCredentialsController final : public http::Controller
{
public:
    /// `host` may be null: nothing is published then.
    ContextCredentialsController(ChunkPublisher *host, http::server::Request::HttpMethod method,
                                 const QString &contextId);

    void handle() override;

private:
    void publishReset();
    void publishEntries(const QJsonArray &entries);
    void publishEntry(const QJsonObject &entry);

    ChunkPublisher *m_host;
    http::server::Request::HttpMethod m_method;
    QString m_contextId;
};
