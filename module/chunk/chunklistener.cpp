#include "chunk/chunklistener.h"

#include "chunk/cardnumbermap.h"
#include "context/contextservice.h"

ChunkListener::ChunkListener(CardNumberMap *cards, ContextService *contexts)
    : m_cards(cards)
    , m_contexts(contexts)
{
}

void ChunkListener::chunkUpdate(const QJsonValue &chunk)
{
    m_cards->learn(chunk);
    m_contexts->dispatchChunk(chunk);
}
