#include "support/eventstream.h"

#include <QtCore/QJsonDocument>
#include <QtCore/QList>

namespace support {

QJsonObject StreamEvent::json() const
{
    return QJsonDocument::fromJson(data).object();
}

EventStream::EventStream(quint16 port, const QByteArray &query, const HttpFields &fields)
    : m_client(port)
{
    m_client.send(requestBytes("GET", "/exchange/chunks" + query, fields));
    m_head = m_client.readHead();
    if (m_head.status != 200)
        return;
    if (nextBlock() != ": connected")
        m_head = {};
}

QByteArray EventStream::nextBlock()
{
    int end = -1;
    while ((end = m_text.indexOf("\n\n")) < 0) {
        const QByteArray piece = m_client.readChunk();
        if (piece.isEmpty())
            return {};
        m_text += piece;
    }
    QByteArray block = m_text.left(end);
    m_text.remove(0, end + 2);
    return block;
}

StreamEvent EventStream::next()
{
    QByteArray block = nextBlock();
    while (block.startsWith(':'))
        block = nextBlock();
    StreamEvent event;
    for (const QByteArray &line : block.split('\n')) {
        if (line.startsWith("id: "))
            event.id = line.mid(4);
        else if (line.startsWith("event: "))
            event.event = line.mid(7);
        else if (line.startsWith("data: "))
            event.data = line.mid(6);
    }
    return event;
}

} // namespace support
