#pragma once

#include "chunk/entrymergingbehaviour.h"

/// Merges actions asked of the user into "actionRequests" of the contexts that they concern.
class AddActionRequestsBehaviour final : public EntryMergingBehaviour
{
public:
    explicit AddActionRequestsBehaviour(ContextService *contexts);
};
