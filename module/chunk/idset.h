#pragma once

#include <QtCore/QHash>
#include <QtCore/QString>

#include <utility>
#include <vector>

/// A set of ids that is filled once: in two arrays, where a QSet makes a node for each. A value
/// without locks or globals.
class IdSet
{
public:
    /// For up to `capacity` ids.
    explicit IdSet(int capacity)
    {
        m_ids.reserve(static_cast<std::size_t>(capacity));
        if (capacity <= Few)
            return;
        std::size_t slots = Few;
        while (slots / 2 < static_cast<std::size_t>(capacity))
            slots *= 2;
        m_slots.resize(slots, Free);
    }

    bool contains(const QString &id) const
    {
        if (!m_slots.empty())
            return m_slots[slotOf(id)] != Free;
        for (const QString &present : m_ids) {
            if (present == id)
                return true;
        }
        return false;
    }

    /// False when it is there already.
    bool insert(QString id)
    {
        if (!m_slots.empty()) {
            int &slot = m_slots[slotOf(id)];
            if (slot != Free)
                return false;
            slot = static_cast<int>(m_ids.size());
        } else if (contains(id)) {
            return false;
        }
        m_ids.push_back(std::move(id));
        return true;
    }

private:
    static constexpr int Few = 8; ///< are looked through faster than they are hashed
    static constexpr int Free = -1;

    /// Where the id is, or else the free slot where it belongs. There always is one: half of the
    /// slots stay free.
    std::size_t slotOf(const QString &id) const
    {
        const std::size_t mask = m_slots.size() - 1;
        std::size_t slot = qHash(id, static_cast<uint>(qGlobalQHashSeed())) & mask;
        while (m_slots[slot] != Free && m_ids[static_cast<std::size_t>(m_slots[slot])] != id)
            slot = (slot + 1) & mask;
        return slot;
    }

    std::vector<QString> m_ids;
    std::vector<int> m_slots; ///< places in m_ids; none while few ids are expected
};
