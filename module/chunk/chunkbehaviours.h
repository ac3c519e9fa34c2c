#pragma once

#include <memory>
#include <vector>

class CardNumberMap;
class ChunkBehaviour;
class ContextService;
class MessageService;
struct HostHandle;

/// All behaviours of the module, in the order in which chunks are offered to them. The two that
/// write card documents are left out when no directory is configured now; what is configured later
/// does not bring them back. Nothing handed over is owned; all of it must outlive the behaviours.
std::vector<std::unique_ptr<ChunkBehaviour>> chunkBehaviours(CardNumberMap *cards,
                                                             const HostHandle *host,
                                                             ContextService *contexts,
                                                             MessageService *messages);
