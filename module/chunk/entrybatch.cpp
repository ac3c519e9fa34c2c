#include "chunk/entrybatch.h"

namespace {

QString idOf(const QJsonObject &item)
{
    return item.value(QLatin1String("id")).toString();
}

} // namespace

EntryBatch::EntryBatch(const QJsonArray &entries)
    : m_entryCount(entries.size())
{
    m_ids.reserve(m_entryCount);
    for (const QJsonValue &entry : entries) {
        const QJsonValue resource = entry.toObject().value(QLatin1String("resource"));
        if (!resource.isUndefined())
            add(resource.toObject());
    }
}

void EntryBatch::add(const QJsonObject &resource)
{
    if (!resource.contains(QLatin1String("id")))
        m_resourcesWithoutId.append(resource);
    if (resource.isEmpty())
        return;
    m_items.append(resource);
    m_ids.insert(idOf(resource));
}

QJsonArray EntryBatch::mergedInto(const QJsonArray &existing) const
{
    QJsonArray merged = m_items;
    QSet<QString> keptIds;
    keptIds.reserve(existing.size());
    for (const QJsonValue &item : existing) {
        const QString id = idOf(item.toObject());
        if (m_ids.contains(id) || keptIds.contains(id))
            continue;
        merged.append(item);
        keptIds.insert(id);
    }
    return merged;
}
