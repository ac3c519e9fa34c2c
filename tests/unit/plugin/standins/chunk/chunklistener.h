#pragma once

#include "journal.h"

#include <plugin/chunkupdatelistener.h>

class CardNumberMap;
class ContextService;

class ChunkListener final : Journaled, public ChunkUpdateListener
{
public:
    ChunkListener(CardNumberMap *cardMap, ContextService *contextStore)
        : Journaled(QStringLiteral("ChunkListener"))
        , cards(cardMap)
        , contexts(contextStore)
    {
        latest = this;
    }

    void chunkUpdate(const QJsonValue & /*chunk*/) override {}

    CardNumberMap *cards;
    ContextService *contexts;

    static inline ChunkListener *latest = nullptr;
};
