#pragma once

#include "journal.h"

class FileService : Journaled
{
public:
    FileService()
        : Journaled(QStringLiteral("FileService"))
    {
        latest = this;
    }

    static inline FileService *latest = nullptr;
};
