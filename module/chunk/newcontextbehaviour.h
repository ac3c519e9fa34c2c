#pragma once

#include "chunk/chunkbehaviour.h"

class ContextService;

/// Stores the context that a "new-context" event announces, whatever exchange it came on. The store
/// is not owned.
class NewContextBehaviour final : public ChunkBehaviour
{
public:
    explicit NewContextBehaviour(ContextService *contexts);

    void handle(const QJsonValue &chunk) override;

private:
    ContextService *m_contexts;
};
