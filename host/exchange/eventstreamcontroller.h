#pragma once

#include "exchange/embeddedexchange.h"
#include "exchange/eventstreamrequest.h"

#include <http/controller.h>

#include <QtCore/QObject>

namespace host {

class StreamingResponse;

/// GET /exchange/chunks: one follower's stream of chunks. The server owns it, as any controller,
/// and destroys it when the connection is gone. Never waits for its client: one that does not read
/// is cut off. Lives on the event-loop thread.
///
/// The `missed` of a gap counts chunks of both directions, also in a stream that is narrowed to
/// one: which direction a forgotten chunk had is forgotten with it.
class EventStreamController final : public QObject, public http::Controller, private ChunkFollower
{
public:
    explicit EventStreamController(EmbeddedExchange *exchange);
    ~EventStreamController() override;

    void handle() override;

private:
    void chunkEvent(const ChunkEvent &event) override;
    void heartbeat(const QByteArray &text) override;

    void begin();
    void replay(qint64 after);
    void cutOff();

    EmbeddedExchange *m_exchange;
    std::shared_ptr<StreamingResponse> m_stream;
    EventStreamRequest m_wanted;
    qint64 m_newBytes = 0; // written since the replay
};

} // namespace host
