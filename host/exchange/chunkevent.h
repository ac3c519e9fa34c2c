#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QJsonObject>

#include <optional>

namespace host {

/// Which way a chunk went: from the module, or to it.
enum class Direction { Published, Delivered };

/// One chunk that went by, with its id and its text as a server-sent event. The text is made once,
/// when the first follower wants it, and shared by all of them: most chunks leave the log again
/// without anybody having asked. A chunk too large to be kept as a tree is printed at once.
class ChunkEvent
{
public:
    /// A tree takes several times its text in memory, so that only small chunks stay one.
    static constexpr qint64 largestTree = 4LL * 1024;

    ChunkEvent(qint64 id, Direction direction, const QJsonObject &chunk);

    /// The same with what `estimatedSize` said of the chunk, for those who asked it before.
    ChunkEvent(qint64 id, Direction direction, const QJsonObject &chunk, qint64 estimate);

    /// About the size of such a chunk's text, not less; of one that is printed at once no more than
    /// that it is above `largestTree`.
    static qint64 estimatedSize(const QJsonObject &chunk);

    qint64 id() const { return m_id; }
    Direction direction() const { return m_direction; }

    /// "id: …", "event: …", "data: …" and the empty line that ends an event.
    const QByteArray &text() const;

    /// The size of `text()`, or a little more as long as nobody has asked for it.
    qint64 size() const { return m_text.isEmpty() ? m_estimate : m_text.size(); }

private:
    qint64 m_id;
    Direction m_direction;
    qint64 m_estimate = 0;
    mutable QJsonObject m_chunk; // empty once the text is there
    mutable QByteArray m_text;
};

/// The event that tells a follower what it can no longer have; null where the number is not known.
QByteArray gapText(std::optional<qint64> missed);

/// The first thing in every stream, so that a follower sees it open before the first chunk.
QByteArray connectedText();

/// What keeps a quiet stream alive.
QByteArray heartbeatText();

} // namespace host
