#pragma once

#include "journal.h"

class CardNumberMap : Journaled
{
public:
    CardNumberMap()
        : Journaled(QStringLiteral("CardNumberMap"))
    {
        latest = this;
    }

    static inline CardNumberMap *latest = nullptr;
};
