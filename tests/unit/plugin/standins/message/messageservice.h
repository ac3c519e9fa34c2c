#pragma once

#include "journal.h"

class MessageService : Journaled
{
public:
    MessageService()
        : Journaled(QStringLiteral("MessageService"))
    {
        latest = this;
    }

    static inline MessageService *latest = nullptr;
};
