#pragma once

#include "http/contexteventhub.h"

#include <QtCore/QJsonObject>
#include <QtCore/QMap>
#include <QtCore/QString>
#include <http/controllerstrategy.h>
#include <http/server/request.h>

class ChunkPublisher;
class ContextService;
class MessageService;
struct Route;

/// The module's whole HTTP surface: creates the controller that a request's method and URL ask for.
/// Owned by the plug-in object. `createController` touches no shared state and may run on the
/// thread of the host's server; everything else belongs to the event-loop thread.
class ContextControllerStrategy final : public http::ControllerStrategy
{
public:
    /// None of the two is owned.
    ContextControllerStrategy(ContextService *contexts, MessageService *messages);

    /// Where credentials are published; not owned. Null until the first call: nothing is published
    /// then.
    void setHost(ChunkPublisher *host) { m_host = host; }

    http::Controller *createController(std::shared_ptr<http::server::Request> request) override;

    /// What the event route delivered last, by context id. All clients share it: a version that one
    /// of them received counts as sent for every other. Entries are never removed.
    QMap<QString, QJsonObject> &sentContexts() { return m_sentContexts; }

    /// Where the event controllers wait.
    ContextEventHub &eventHub() { return m_eventHub; }

private:
    http::Controller *createFor(const Route &route, const http::server::Request &request);
    http::Controller *createFileGet(const Route &route, const http::server::Request &request) const;

    ContextService *m_contexts;
    MessageService *m_messages;
    ChunkPublisher *m_host = nullptr;
    QMap<QString, QJsonObject> m_sentContexts;
    ContextEventHub m_eventHub;
};
