#pragma once

#include <QtCore/QObject>
#include <http/controller.h>

class MessageService;

/// GET /message/event: answers with all messages, at once when there are any and otherwise when the
/// next one comes in. A DELETE of that path is routed here too and answered in the same way. The
/// host owns it until its answer; then it deletes itself. Lives on the event-loop thread.
class MessageEventController final : public QObject, public http::Controller
{
    Q_OBJECT

public:
    explicit MessageEventController(MessageService *messages);

    void handle() override;

public Q_SLOTS:
    /// Finishes the exchange.
    void onMessagesAvailable();

private:
    MessageService *m_messages;
};
