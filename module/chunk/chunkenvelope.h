#pragma once

#include <QtCore/QJsonObject>
#include <QtCore/QJsonValue>
#include <QtCore/QString>

/// A chunk as the behaviours read it. Reading is lenient: a chunk that is no object reads as an
/// empty object, a missing or mistyped member as an empty value. A value, made per chunk and
/// behaviour.
class ChunkEnvelope
{
public:
    explicit ChunkEnvelope(const QJsonValue &chunk);

    /// Whether the chunk was published on `exchange`, compared as text, exactly.
    bool isOn(const QString &exchange) const;

    QJsonObject body() const;

    /// Undefined when the chunk names no sender.
    QJsonValue source() const;

    /// The answer to this chunk: it goes to the queue that "reply-to" names and repeats the
    /// "correlation-id", so that the requester can pair the two. A missing id is repeated as null.
    QJsonObject reply(const QJsonValue &body) const;

private:
    QJsonObject m_chunk;
};
