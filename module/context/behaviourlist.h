#pragma once

#include "chunk/chunkbehaviour.h"

#include <memory>
#include <utility>
#include <vector>

/// The chunk behaviours in their order. Shared by the ContextService and the dispatches under way,
/// so that a behaviour which replaces the list does not pull it from under itself; deletes the
/// behaviours, last first.
class BehaviourList
{
public:
    explicit BehaviourList(std::vector<std::unique_ptr<ChunkBehaviour>> behaviours)
        : m_behaviours(std::move(behaviours))
    {
    }

    BehaviourList(const BehaviourList &) = delete;
    BehaviourList &operator=(const BehaviourList &) = delete;

    ~BehaviourList()
    {
        while (!m_behaviours.empty())
            m_behaviours.pop_back();
    }

    void handle(const QJsonValue &chunk) const
    {
        for (const auto &behaviour : m_behaviours)
            behaviour->handle(chunk);
    }

private:
    std::vector<std::unique_ptr<ChunkBehaviour>> m_behaviours;
};
