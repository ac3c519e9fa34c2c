#pragma once

#include "chunk/idset.h"

#include <QtCore/QJsonArray>
#include <QtCore/QJsonObject>
#include <QtCore/QVector>

/// The items that one chunk brings: the "resource" of each entry of its bundle, read once and then
/// merged into any number of contexts. A value without locks or globals.
class EntryBatch
{
public:
    explicit EntryBatch(const QJsonArray &entries);

    /// Of the bundle's entries, also of those that bring no item.
    int entryCount() const { return m_entryCount; }

    /// In the order of their entries, empty ones included. Those that are not empty are items all
    /// the same.
    const QVector<QJsonObject> &resourcesWithoutId() const { return m_resourcesWithoutId; }

    /// The items of the batch and behind them, in their order, those of `existing` whose "id" no
    /// item before them has. An "id" that is missing or no text counts as the empty text, so of
    /// several items without one only the first stays. Takes time linear in the items of both.
    QJsonArray mergedInto(const QJsonArray &existing) const;

private:
    void add(const QJsonValue &value);

    int m_entryCount;
    QJsonArray m_items;
    IdSet m_ids;
    QVector<QJsonObject> m_resourcesWithoutId;
};
