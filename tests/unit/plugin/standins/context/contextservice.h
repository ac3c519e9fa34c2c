#pragma once

#include "chunk/chunkbehaviours.h"
#include "journal.h"

#include <QtCore/QJsonValue>
#include <functional>
#include <memory>
#include <vector>

class Clock;
class FileService;

class ContextService : Journaled
{
public:
    ContextService(const HostHandle *hostHandle, FileService *fileService, Clock *systemClock)
        : Journaled(QStringLiteral("ContextService"))
        , host(hostHandle)
        , files(fileService)
        , clock(systemClock)
    {
        latest = this;
    }

    void setBehaviours(std::vector<std::unique_ptr<ChunkBehaviour>> behaviours)
    {
        journal().append(QStringLiteral("setBehaviours %1").arg(behaviours.size()));
        m_behaviours = std::move(behaviours);
    }

    void setContext(const QString &id, const QJsonValue &value)
    {
        setId = id;
        setValue = value;
        journal().append(QStringLiteral("setContext"));
        if (onSet)
            onSet();
    }

    const HostHandle *host;
    FileService *files;
    Clock *clock;
    QString setId = QStringLiteral("never set");
    QJsonValue setValue;
    std::function<void()> onSet;

    static inline ContextService *latest = nullptr;

private:
    std::vector<std::unique_ptr<ChunkBehaviour>> m_behaviours;
};
