#pragma once

class QJsonObject;

namespace host {

/// One of the ways that chunks take: the embedded exchange that local services follow over HTTP, or
/// a broker. The hub owns the module's side and tells every exchange what goes by, in the order in
/// which it happens; an exchange that brings chunks in hands them to `ChunkHub::deliver`. Lives on
/// the event-loop thread and never makes its caller wait.
class Exchange
{
public:
    Exchange() = default;
    Exchange(const Exchange &) = delete;
    Exchange &operator=(const Exchange &) = delete;
    virtual ~Exchange() = default;

    /// The module published this chunk.
    virtual void published(const QJsonObject &chunk) = 0;

    /// This chunk is about to be handed to the module, whichever exchange brought it.
    virtual void delivering(const QJsonObject &chunk) = 0;
};

} // namespace host
