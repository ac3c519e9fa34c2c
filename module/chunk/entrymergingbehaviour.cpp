#include "chunk/entrymergingbehaviour.h"

#include "chunk/chunkenvelope.h"
#include "chunk/entrybatch.h"
#include "context/contextservice.h"

#include <QtCore/QDebug>
#include <QtCore/QLoggingCategory>

EntryMergingBehaviour::EntryMergingBehaviour(const EntryMergingRule &rule, ContextService *contexts)
    : m_rule(rule)
    , m_contexts(contexts)
{
}

void EntryMergingBehaviour::handle(const QJsonValue &chunk)
{
    if (!chunk.isObject())
        return;
    // Compared as a JSON value, where other exchanges are compared as text.
    if (chunk.toObject().value(QLatin1String("exchange")) != QJsonValue(m_rule.exchange))
        return;

    const ChunkEnvelope envelope(chunk);
    qCDebug(m_rule.category) << "Chunk received: " << envelope.source();
    const QJsonObject body = envelope.body();
    if (!body.contains(QLatin1String("filter"))) {
        qCWarning(m_rule.category) << "Invalid chunk received, chunk has no filter.";
        return;
    }
    const QJsonObject filter = body.value(QLatin1String("filter")).toObject();
    if (filter.isEmpty())
        qCDebug(m_rule.category) << "Empty filter. Add to all contexts.";

    const QJsonObject bundle = body.value(m_rule.arrayKey).toObject();
    const EntryBatch batch(bundle.value(QLatin1String("entry")).toArray());
    mergeIntoContexts(filter, batch, envelope.source());
}

void EntryMergingBehaviour::mergeIntoContexts(const QJsonObject &filter, const EntryBatch &batch,
                                              const QJsonValue &source) const
{
    const QStringList ids = m_contexts->contextIds();
    for (const QString &id : ids) {
        const QJsonObject context = m_contexts->context(id).toObject();
        if (!accepts(filter, context))
            continue;
        traceMerge(batch, source);
        const QJsonArray existing = context.value(m_rule.arrayKey).toArray();
        m_contexts->updateContext(id, QJsonObject{{m_rule.arrayKey, batch.mergedInto(existing)}});
    }
}

bool EntryMergingBehaviour::accepts(const QJsonObject &filter, const QJsonObject &context) const
{
    qCDebug(m_rule.category) << "Filter keys:" << filter.keys()
                             << ", context keys:" << context.keys();
    if (m_rule.tracesPatient) {
        qCDebug(m_rule.category) << "Filter patient:" << filter.value(QLatin1String("patient"));
        qCDebug(m_rule.category) << "Context patient:" << context.value(QLatin1String("patient"));
    }
    if (fits(filter, context, m_rule.category))
        return true;
    qCDebug(m_rule.category) << "No overlap found. Reject update.";
    return false;
}

void EntryMergingBehaviour::traceMerge(const EntryBatch &batch, const QJsonValue &source) const
{
    qCDebug(m_rule.category) << m_rule.acceptedText << batch.entryCount() << "entries.";
    // Counts the merged array before anything is in it: readers of the log know the line with 0.
    qCDebug(m_rule.category) << m_rule.existingText << 0 << "entries.";
    if (!m_rule.missingIdText)
        return;
    for (const QJsonObject &resource : batch.resourcesWithoutId()) {
        qCWarning(m_rule.category)
            << "Chunk sent by " << source << m_rule.missingIdText << resource;
    }
}
