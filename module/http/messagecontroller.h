#pragma once

#include <http/controller.h>
#include <http/server/request.h>

class MessageService;

/// POST /message: removes the messages whose ids are posted and answers with all that remain. Made
/// per request and owned by the host; lives on the event-loop thread.
class MessageController final : public http::Controller
{
public:
    MessageController(MessageService *messages, http::server::Request::HttpMethod method);

    void handle() override;

private:
    MessageService *m_messages;
    [[maybe_unused]] http::server::Request::HttpMethod m_method;
};
