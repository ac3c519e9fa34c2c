#include "chunk/addmatchingitemsbehaviour.h"

#include <QtCore/QLoggingCategory>

Q_LOGGING_CATEGORY(lcAddMatchingItems, "ch.brenlo.kavo-service.context.addmatchingitemsbehaviour")

namespace {

const EntryMergingRule &matchingItemsRule()
{
    static const EntryMergingRule rule{
        QStringLiteral("kavo-context-add-matching-items"),
        QStringLiteral("matchingItems"),
        &lcAddMatchingItems,
        "Accepted update for matchingItems with",
        "Existing matchingItems has",
        " contained an entry for matchingItem with an undefined \"id\" entry. Proceeding anyways: ",
        true,
    };
    return rule;
}

} // namespace

AddMatchingItemsBehaviour::AddMatchingItemsBehaviour(ContextService *contexts)
    : EntryMergingBehaviour(matchingItemsRule(), contexts)
{
}
