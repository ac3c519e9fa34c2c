#include "exchange/deliveryqueue.h"

#include "exchange/chunkhub.h"
#include "exchange/exchangelog.h"

#include <QtCore/QElapsedTimer>

#include <exception>
#include <utility>

namespace host {

DeliveryQueue::DeliveryQueue(ChunkHub *hub, int turnLength)
    : m_hub(hub)
    , m_turnLength(turnLength)
{
    QObject::connect(&m_nextTurn, &QTimer::timeout, &m_nextTurn, [this] { takeTurn(); });
    m_nextTurn.setSingleShot(true);
    m_nextTurn.setInterval(0);
}

void DeliveryQueue::deliver(QVector<QJsonObject> chunks, Done done)
{
    m_batches.push_back({std::move(chunks), 0, std::move(done)});
    if (!m_isInTurn && !m_nextTurn.isActive())
        takeTurn();
}

int DeliveryQueue::clear()
{
    int forgotten = 0;
    for (const Batch &batch : m_batches)
        forgotten += batch.chunks.size() - batch.next;
    m_batches.clear();
    m_nextTurn.stop();
    return forgotten;
}

void DeliveryQueue::takeTurn()
{
    QElapsedTimer turn;
    turn.start();
    m_isInTurn = true;
    for (bool isFirst = true; !m_batches.empty(); isFirst = false) {
        Batch &batch = m_batches.front();
        if (batch.next == batch.chunks.size()) {
            finishFirst(true);
        } else if (!isFirst && turn.elapsed() >= m_turnLength) {
            m_nextTurn.start();
            break;
        } else if (!deliverNext(batch)) {
            finishFirst(false);
        }
    }
    m_isInTurn = false;
}

bool DeliveryQueue::deliverNext(Batch &batch)
{
    // A chunk is no longer needed once it is handled, however long the list.
    const QJsonObject chunk = std::exchange(batch.chunks[batch.next++], {});
    try {
        m_hub->deliver(chunk);
    } catch (const std::exception &exception) {
        qCWarning(lcExchange) << "A chunk could not be handled:" << exception.what();
        return false;
    }
    return true;
}

void DeliveryQueue::finishFirst(bool areHandled)
{
    const Done done = std::move(m_batches.front().done);
    m_batches.pop_front();
    done(areHandled);
}

} // namespace host
