#pragma once

class QJsonValue;

/// What the module does with one kind of chunk. Every chunk is offered to every behaviour in turn;
/// each tests for itself whether the chunk is meant for it, and does nothing otherwise. Behaviours
/// keep no state between chunks. Owned by the ContextService.
class ChunkBehaviour
{
public:
    ChunkBehaviour() = default;
    ChunkBehaviour(const ChunkBehaviour &) = delete;
    ChunkBehaviour &operator=(const ChunkBehaviour &) = delete;
    virtual ~ChunkBehaviour() = default;

    virtual void handle(const QJsonValue &chunk) = 0;
};
