#include "exchange/chunkhub.h"

#include "exchange/exchangelog.h"

#include <plugin/chunkupdatelistener.h>

#include <QtCore/QJsonObject>
#include <QtCore/QJsonValue>

namespace host {

void ChunkHub::addExchange(Exchange *exchange)
{
    m_exchanges.append(exchange);
}

void ChunkHub::publish(const QJsonValue &chunk)
{
    if (!chunk.isObject()) {
        qCWarning(lcExchange) << "Not published: a chunk that is no JSON object";
        return;
    }
    const QJsonObject object = chunk.toObject();
    for (Exchange *exchange : qAsConst(m_exchanges))
        exchange->published(object);
}

void ChunkHub::subscribe(ChunkUpdateListener *listener)
{
    if (listener && !m_listeners.contains(listener))
        m_listeners.append(listener);
}

void ChunkHub::deliver(const QJsonObject &chunk)
{
    for (Exchange *exchange : qAsConst(m_exchanges))
        exchange->delivering(chunk);
    const QVector<ChunkUpdateListener *> listeners = m_listeners; // one may subscribe meanwhile
    const QJsonValue value(chunk);
    for (ChunkUpdateListener *listener : listeners)
        listener->chunkUpdate(value);
}

void ChunkHub::stopDelivering()
{
    m_listeners.clear();
}

} // namespace host
