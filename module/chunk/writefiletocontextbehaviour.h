#pragma once

#include "chunk/exchangebehaviour.h"

class ContextService;

/// Attaches the file that a chunk brings to a context. The store is not owned.
class WriteFileToContextBehaviour final : public ExchangeBehaviour
{
public:
    explicit WriteFileToContextBehaviour(ContextService *contexts);

private:
    const QString &exchange() const override;
    void accept(const ChunkEnvelope &chunk) override;

    ContextService *m_contexts;
};
