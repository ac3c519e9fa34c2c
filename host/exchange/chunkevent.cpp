#include "exchange/chunkevent.h"

#include "common/jsontext.h"
#include "exchange/jsonsize.h"

namespace host {
namespace {

constexpr qint64 longestFrame = 64; // everything of an event's text but its JSON

QByteArray eventText(qint64 id, Direction direction, const QJsonObject &chunk)
{
    const QByteArray json = common::compactJson(chunk);
    QByteArray text;
    text.reserve(json.size() + int(longestFrame));
    text += "id: ";
    text += QByteArray::number(id);
    text += direction == Direction::Published ? "\nevent: published" : "\nevent: delivered";
    text += "\ndata: ";
    text += json;
    text += "\n\n";
    return text;
}

} // namespace

ChunkEvent::ChunkEvent(qint64 id, Direction direction, const QJsonObject &chunk)
    : ChunkEvent(id, direction, chunk, estimatedSize(chunk))
{
}

ChunkEvent::ChunkEvent(qint64 id, Direction direction, const QJsonObject &chunk, qint64 estimate)
    : m_id(id)
    , m_direction(direction)
    , m_estimate(estimate)
    , m_chunk(chunk)
{
    if (m_estimate > largestTree)
        text();
}

qint64 ChunkEvent::estimatedSize(const QJsonObject &chunk)
{
    return jsonSizeAtMost(chunk, largestTree) + longestFrame;
}

const QByteArray &ChunkEvent::text() const
{
    if (m_text.isEmpty()) {
        m_text = eventText(m_id, m_direction, m_chunk);
        m_chunk = QJsonObject();
    }
    return m_text;
}

QByteArray gapText(std::optional<qint64> missed)
{
    const QByteArray number = missed ? QByteArray::number(*missed) : QByteArrayLiteral("null");
    return "event: gap\ndata: {\"missed\":" + number + "}\n\n";
}

QByteArray connectedText()
{
    return QByteArrayLiteral(": connected\n\n");
}

QByteArray heartbeatText()
{
    return QByteArrayLiteral(": alive\n\n");
}

} // namespace host
