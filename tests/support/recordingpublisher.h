#pragma once

#include <QtCore/QJsonObject>
#include <QtCore/QJsonValue>
#include <QtCore/QVector>
#include <functional>
#include <plugin/chunkpublisher.h>

namespace support {

/// A host's message exchange that keeps what is published, in order. `onPublish`, when set, is
/// called for every chunk after it was recorded. Lives in a test function, on its thread.
// Final, and never deleted through its base, whose destructor is protected.
class RecordingPublisher final : public ChunkPublisher
{
public:
    void publish(const QJsonValue &chunk) override
    {
        m_chunks.append(chunk);
        if (onPublish)
            onPublish(chunk);
    }

    void subscribe(ChunkUpdateListener *listener) override { m_listeners.append(listener); }

    const QVector<QJsonValue> &chunks() const { return m_chunks; }
    QJsonObject last() const
    {
        return m_chunks.isEmpty() ? QJsonObject() : m_chunks.last().toObject();
    }

    /// The chunks whose "exchange" is `exchange`.
    QVector<QJsonObject> on(const QString &exchange) const
    {
        QVector<QJsonObject> found;
        for (const QJsonValue &chunk : m_chunks) {
            const QJsonObject object = chunk.toObject();
            if (object.value(QLatin1String("exchange")) == QJsonValue(exchange))
                found.append(object);
        }
        return found;
    }

    const QVector<ChunkUpdateListener *> &listeners() const { return m_listeners; }
    void clear() { m_chunks.clear(); }

    std::function<void(const QJsonValue &)> onPublish;

private:
    QVector<QJsonValue> m_chunks;
    QVector<ChunkUpdateListener *> m_listeners;
};

} // namespace support
