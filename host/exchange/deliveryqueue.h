#pragma once

#include <QtCore/QJsonObject>
#include <QtCore/QTimer>
#include <QtCore/QVector>

#include <deque>
#include <functional>

namespace host {

class ChunkHub;

/// Chunks on their way to the module, in the order in which they came. As many are delivered at
/// once as a turn of the event loop may take, the rest in later turns: a chunk can take a second,
/// and a long list of such chunks would keep everybody else waiting for all of them. Lives on the
/// event-loop thread.
class DeliveryQueue
{
public:
    /// Told whether the module has handled every chunk: not where one of them made it throw, which
    /// ends the list.
    using Done = std::function<void(bool areHandled)>;

    /// `hub` is not owned and outlives the queue. A turn ends after the chunk with which it has
    /// taken `turnLength` ms.
    explicit DeliveryQueue(ChunkHub *hub, int turnLength = 50);
    DeliveryQueue(const DeliveryQueue &) = delete;
    DeliveryQueue &operator=(const DeliveryQueue &) = delete;

    /// `done` is called after the last of the chunks, before this returns where that is possible.
    void deliver(QVector<QJsonObject> chunks, Done done);

    /// Forgets what was not delivered yet and returns how many chunks that were.
    int clear();

private:
    struct Batch
    {
        QVector<QJsonObject> chunks;
        int next = 0;
        Done done;
    };

    void takeTurn();
    bool deliverNext(Batch &batch);
    void finishFirst(bool areHandled);

    ChunkHub *m_hub;
    int m_turnLength;
    std::deque<Batch> m_batches;
    QTimer m_nextTurn;
    bool m_isInTurn = false;
};

} // namespace host
