#pragma once

#include "chunk/chunkbehaviour.h"
#include "chunk/contextfilter.h"

#include <QtCore/QString>

class ChunkEnvelope;
class ContextService;
class EntryBatch;

/// In what the two merging behaviours differ. The texts are log lines, up to the first value.
struct EntryMergingRule
{
    QString exchange;
    QString arrayKey; ///< of the bundle in the chunk's body and of the items in the context
    LogCategory category;
    const char *acceptedText;
    const char *existingText;
    const char *missingIdText; ///< null: items without "id" are not warned of
    bool tracesPatient;
};

/// Merges a chunk's items into one array of every context that the chunk's filter fits: new items
/// first, then the present ones that they do not replace. The store, not owned, announces each
/// change. Lives on the event-loop thread.
class EntryMergingBehaviour : public ChunkBehaviour
{
public:
    /// `rule` must outlive the behaviour.
    EntryMergingBehaviour(const EntryMergingRule &rule, ContextService *contexts);

    void handle(const QJsonValue &chunk) final;

private:
    void mergeIntoContexts(const QJsonObject &filter, const EntryBatch &batch,
                           const QJsonValue &source) const;
    bool accepts(const QJsonObject &filter, const QJsonObject &context) const;
    void traceMerge(const EntryBatch &batch, const QJsonValue &source) const;

    const EntryMergingRule &m_rule;
    ContextService *m_contexts;
};
