#pragma once

#include "chunk/chunkbehaviour.h"

class MessageService;

/// Puts the messages that a chunk brings into the message store, which is not owned.
class AddMessagesBehaviour final : public ChunkBehaviour
{
public:
    explicit AddMessagesBehaviour(MessageService *messages);

    void handle(const QJsonValue &chunk) override;

private:
    MessageService *m_messages;
};
