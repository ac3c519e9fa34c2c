#pragma once

#include <plugin/chunkupdatelistener.h>

class CardNumberMap;
class ContextService;

/// Where the host delivers its chunks: the card number map learns from each, then each behaviour is
/// offered it. Owned by the plug-in object; owns neither of the two. Lives on the event-loop
/// thread.
class ChunkListener final : public ChunkUpdateListener
{
public:
    ChunkListener(CardNumberMap *cards, ContextService *contexts);

    void chunkUpdate(const QJsonValue &chunk) override;

private:
    CardNumberMap *m_cards;
    ContextService *m_contexts;
};
