#pragma once

#include "context/printedtexts.h"

#include <QtCore/QByteArray>
#include <QtCore/QJsonValue>
#include <QtCore/QMap>
#include <QtCore/QObject>
#include <QtCore/QString>
#include <QtCore/QStringList>

#include <memory>
#include <vector>

class BehaviourList;
class ChunkBehaviour;
class Clock;
class FileService;
class QJsonObject;
class QTimer;
struct ContextChange;
struct HostHandle;

namespace domain {
struct Coding;
}

/// The workstation's contexts: JSON values, normally objects, each under a text id. Every write
/// announces what changed, before it returns. Owned by the plug-in object; owns the chunk
/// behaviours and the timer that removes unused contexts.
///
/// No operation fails: an unknown id reads as JSON null, and a write to one creates it.
class ContextService final : public QObject
{
    Q_OBJECT

public:
    /// None of the three is owned. Reads the time-to-live setting once, and starts the collector
    /// when there is one.
    ContextService(const HostHandle *host, FileService *files, Clock *clock);
    ~ContextService() override;

    /// Draws a new id, which follows from the current second, and announces it; sleeps until the
    /// next second when it is taken. The context comes to be with the first `setContext`.
    QString createContext();

    /// The stored value. Reading counts as use, and enters an unknown id with a JSON null.
    QJsonValue context(const QString &id);

    /// The stored value taken as an object, as indented JSON text. The text is kept until the
    /// context changes, so asking again costs nothing. Does not count as use.
    QByteArray printedContext(const QString &id) const;

    /// The text of `object`: the kept one when `object` is what is stored under the id, which takes
    /// no time to find out where the two share their data.
    QByteArray printedContext(const QString &id, const QJsonObject &object) const;

    /// In ascending order.
    QStringList contextIds() const;

    void setContext(const QString &id, const QJsonValue &value);

    /// Overwrites the stored object's members with those of `value`. Returns the merged object, or
    /// null when nothing was done because one of the two is no object.
    QJsonValue updateContext(const QString &id, const QJsonValue &value);

    /// Publishes "context-removed" in any case, also for an id that is not stored.
    void removeContext(const QString &id);

    void addFile(const QString &id, const QString &name, const QByteArray &bytes,
                 const domain::Coding &coding);
    void removeFile(const QString &id, const QString &name);

    /// One after the other, each announced by itself, without reading the list again for each.
    void removeFiles(const QString &id, const QStringList &names);

    /// Null when the file is unknown; empty but not null for a file of no bytes.
    QByteArray fileContent(const QString &id, const QString &name) const;

    void dispatchChunk(const QJsonValue &chunk);

    /// Deletes the behaviours held so far, last first (after the chunk that they are working on).
    void setBehaviours(std::vector<std::unique_ptr<ChunkBehaviour>> behaviours);

    /// Removes every context that was not used for `period` milliseconds, or not since the last
    /// pass.
    void collectGarbage(qint32 period);

Q_SIGNALS:
    /// The stored value differs from the one before. Emitted before the changing call returns.
    void contextChanged(const QString &key, const QJsonValue &context);

    /// A context that was not null was removed: the store has forgotten it and has published so.
    void contextRemoved(const QString &key);

private:
    void startCollector();
    void markUsed(const QString &id);

    /// Puts a value in the place of `old` and announces what changed. An object over an object
    /// loses its matching items where anything did.
    void store(const QString &id, const QJsonValue &old, const ContextChange &change);
    void store(const QString &id, const QJsonValue &old, const QJsonValue &value, bool differs,
               const QJsonObject &changes);

    /// The same as an update of "attachments" with one entry more, but does not copy the list, so
    /// that many files take no longer each than a few. False when it takes more than that.
    bool listFile(const QString &id, const QJsonObject &entry);

    QTimer *m_collectionTimer = nullptr; ///< a child; null while collection is disabled
    QMap<QString, qint64> m_lastUse;     ///< by the clock, of ids that need not be stored
    const HostHandle *m_host;
    FileService *m_files;
    Clock *m_clock;
    QMap<QString, QJsonValue> m_contexts;
    mutable PrintedTexts m_printed;
    std::shared_ptr<const BehaviourList> m_behaviours;
};
