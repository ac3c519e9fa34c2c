#include "chunk/addactionrequestsbehaviour.h"

#include <QtCore/QLoggingCategory>

Q_LOGGING_CATEGORY(lcAddActionRequests, "ch.brenlo.kavo-service.context.addactionrequestsbehaviour")

namespace {

const EntryMergingRule &actionRequestsRule()
{
    static const EntryMergingRule rule{
        QStringLiteral("kavo-context-add-action-requests"),
        QStringLiteral("actionRequests"),
        &lcAddActionRequests,
        "Accepted update for actionRequests with",
        "Existing actionRequests has",
        nullptr,
        false,
    };
    return rule;
}

} // namespace

AddActionRequestsBehaviour::AddActionRequestsBehaviour(ContextService *contexts)
    : EntryMergingBehaviour(actionRequestsRule(), contexts)
{
}
