#pragma once

class QJsonValue;

/// What a host delivers incoming chunks to. A plug-in hands its listener to
/// `ChunkPublisher::subscribe`; the host calls it for every chunk that arrives on an exchange it
/// consumes, on the event-loop thread. The plug-in owns the listener, and it is valid until the
/// plug-in is destroyed: a host stops delivering before that.
class ChunkUpdateListener
{
public:
    /// `chunk` is the whole envelope: an object with "exchange", "body", "properties", "source" and
    /// "data", each of which may be missing. Anything else than an object is ignored. Never throws.
    virtual void chunkUpdate(const QJsonValue &chunk) = 0;

protected:
    ChunkUpdateListener() = default;
    ChunkUpdateListener(const ChunkUpdateListener &) = default;
    ChunkUpdateListener &operator=(const ChunkUpdateListener &) = default;
    ~ChunkUpdateListener() = default; // the table of virtual functions starts with chunkUpdate
};
