#pragma once

#include "journal.h"

#include <http/controllerstrategy.h>

class ChunkPublisher;
class ContextService;
class MessageService;

class ContextControllerStrategy : Journaled, public http::ControllerStrategy
{
public:
    ContextControllerStrategy(ContextService *contextStore, MessageService *messageStore)
        : Journaled(QStringLiteral("ContextControllerStrategy"))
        , contexts(contextStore)
        , messages(messageStore)
    {
        latest = this;
    }

    void setHost(ChunkPublisher *publisher)
    {
        host = publisher;
        journal().append(QStringLiteral("setHost"));
    }

    http::Controller *createController(std::shared_ptr<http::server::Request>) override
    {
        return nullptr;
    }

    ContextService *contexts;
    MessageService *messages;
    ChunkPublisher *host = nullptr;

    static inline ContextControllerStrategy *latest = nullptr;
};
