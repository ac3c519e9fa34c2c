#pragma once

#include "journal.h"

class Clock : Journaled
{
public:
    Clock()
        : Journaled(QStringLiteral("Clock"))
    {
    }
};

class SystemClock : public Clock
{
};
