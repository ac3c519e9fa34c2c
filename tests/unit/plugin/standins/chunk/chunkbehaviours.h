#pragma once

#include "chunk/chunkbehaviour.h"
#include "journal.h"

#include <memory>
#include <vector>

class CardNumberMap;
class ContextService;
class MessageService;
struct HostHandle;

struct BehaviourArguments
{
    CardNumberMap *cards = nullptr;
    const HostHandle *host = nullptr;
    ContextService *contexts = nullptr;
    MessageService *messages = nullptr;
};

inline BehaviourArguments &behaviourArguments()
{
    static BehaviourArguments arguments;
    return arguments;
}

inline std::vector<std::unique_ptr<ChunkBehaviour>> chunkBehaviours(CardNumberMap *cards,
                                                                    const HostHandle *host,
                                                                    ContextService *contexts,
                                                                    MessageService *messages)
{
    journal().append(QStringLiteral("chunkBehaviours"));
    behaviourArguments() = {cards, host, contexts, messages};
    std::vector<std::unique_ptr<ChunkBehaviour>> behaviours;
    behaviours.push_back(std::make_unique<ChunkBehaviour>());
    behaviours.push_back(std::make_unique<ChunkBehaviour>());
    return behaviours;
}
