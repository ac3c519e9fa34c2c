#pragma once

class QJsonValue;
class ChunkUpdateListener;

/// The host's message exchange as a plug-in sees it. The host owns it and keeps it alive from
/// `KavoServicePlugin::attachHost` until the plug-in is destroyed, also beyond `detachHost`: what
/// was handed to the credentials route stays in use there. All calls come from the event-loop
/// thread.
class ChunkPublisher
{
public:
    /// Sends a chunk. An object with an "exchange" goes there (it may be an empty text: a reply to
    /// a request that named no reply queue); one without goes where the host sends events. May be
    /// called from inside `ChunkUpdateListener::chunkUpdate`.
    virtual void publish(const QJsonValue &chunk) = 0;

    /// Delivers every incoming chunk to `listener` from now on. The host does not own the listener.
    virtual void subscribe(ChunkUpdateListener *listener) = 0;

protected:
    ChunkPublisher() = default;
    ChunkPublisher(const ChunkPublisher &) = default;
    ChunkPublisher &operator=(const ChunkPublisher &) = default;
    ~ChunkPublisher() = default; // the table of virtual functions starts with publish
};
