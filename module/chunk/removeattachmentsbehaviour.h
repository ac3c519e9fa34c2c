#pragma once

#include "chunk/exchangebehaviour.h"

class ContextService;

/// Removes the files that a chunk names from a context. The store is not owned.
class RemoveAttachmentsBehaviour final : public ExchangeBehaviour
{
public:
    explicit RemoveAttachmentsBehaviour(ContextService *contexts);

private:
    const QString &exchange() const override;
    void accept(const ChunkEnvelope &chunk) override;

    ContextService *m_contexts;
};
