#include "http/contextformcontroller.h"

ContextFormController::ContextFormController(ContextService *contexts, const QString &contextId)
    : m_contexts(contexts)
    , m_contextId(contextId)
{
}

void ContextFormController::handle() {}
