#include "chunk/entrybatch.h"

#include <utility>

namespace {

QJsonValue idOf(const QJsonObject &item)
{
    return item.value(QLatin1String("id"));
}

} // namespace

EntryBatch::EntryBatch(const QJsonArray &entries)
    : m_entryCount(entries.size())
    , m_ids(entries.size())
{
    for (const QJsonValue &entry : entries) {
        const QJsonValue resource = entry.toObject().value(QLatin1String("resource"));
        if (!resource.isUndefined())
            add(resource);
    }
}

void EntryBatch::add(const QJsonValue &value)
{
    const QJsonObject resource = value.toObject();
    const QJsonValue id = idOf(resource);
    if (id.isUndefined())
        m_resourcesWithoutId.append(resource);
    if (resource.isEmpty())
        return;
    m_items.append(value);
    m_ids.insert(id.toString());
}

QJsonArray EntryBatch::mergedInto(const QJsonArray &existing) const
{
    QJsonArray merged = m_items;
    IdSet keptIds(existing.size());
    for (const QJsonValue &item : existing) {
        QString id = idOf(item.toObject()).toString();
        if (!m_ids.contains(id) && keptIds.insert(std::move(id)))
            merged.append(item);
    }
    return merged;
}
