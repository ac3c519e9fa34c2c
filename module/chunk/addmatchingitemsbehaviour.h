#pragma once

#include "chunk/entrymergingbehaviour.h"

/// Merges items found for a patient into "matchingItems" of the contexts about that patient.
class AddMatchingItemsBehaviour final : public EntryMergingBehaviour
{
public:
    explicit AddMatchingItemsBehaviour(ContextService *contexts);
};
