#include "context/contextservice.h"

#include "common/jsontext.h"
#include "context/behaviourlist.h"
#include "context/contextchange.h"
#include "context/contextevents.h"
#include "context/contextid.h"
#include "context/contextlog.h"
#include "plugin/hosthandle.h"
#include "system/clock.h"
#include "system/settings.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>
#include <QtCore/QLoggingCategory>
#include <QtCore/QTimer>

#include <plugin/chunkpublisher.h>

namespace {

constexpr qint64 MillisecondsPerSecond = 1000;
constexpr qint32 MillisecondsPerMinute = 60000;

/// Wraps at 32 bits, as installations with enormous values have always seen it.
qint32 collectionPeriod(qint32 minutes)
{
    const quint32 product = static_cast<quint32>(minutes) * quint32(MillisecondsPerMinute);
    return qMax(static_cast<qint32>(product), MillisecondsPerMinute);
}

/// The items were matched to a patient or a case that is now another.
void dropMatchingItems(QJsonObject &context)
{
    const QLatin1String key("matchingItems");
    if (context.value(key) != QJsonValue(QJsonArray()))
        context.insert(key, QJsonArray());
}

} // namespace

ContextService::ContextService(const HostHandle *host, FileService *files, Clock *clock)
    : m_host(host)
    , m_files(files)
    , m_clock(clock)
{
    startCollector();
}

ContextService::~ContextService()
{
    // The plug-in object has deleted the host handle and the file store by now.
    if (m_collectionTimer) {
        m_collectionTimer->stop();
        m_collectionTimer->deleteLater();
    }
    m_behaviours.reset();
}

QString ContextService::createContext()
{
    qint64 second = m_clock->now() / MillisecondsPerSecond;
    QString id = contextIdOfSecond(second);
    while (m_contexts.contains(id)) {
        m_clock->sleepUntil((second + 1) * MillisecondsPerSecond);
        second = m_clock->now() / MillisecondsPerSecond;
        id = contextIdOfSecond(second);
    }
    if (m_host->publisher)
        m_host->publisher->publish(contextCreatedChunk(id));
    markUsed(id);
    return id;
}

QJsonValue ContextService::context(const QString &id)
{
    markUsed(id);
    return m_contexts[id];
}

QByteArray ContextService::printedContext(const QString &id) const
{
    if (const QByteArray *kept = m_printed.find(id))
        return *kept;
    const QJsonValue value = m_contexts.value(id);
    const QByteArray text = common::indentedJson(value.toObject());
    return value.isObject() ? m_printed.keep(id, text) : text;
}

QByteArray ContextService::printedContext(const QString &id, const QJsonObject &object) const
{
    return m_contexts.value(id).toObject() == object ? printedContext(id)
                                                     : common::indentedJson(object);
}

QStringList ContextService::contextIds() const
{
    return m_contexts.keys();
}

void ContextService::setContext(const QString &id, const QJsonValue &value)
{
    logNewValue(id, value);
    if (value.isNull()) {
        removeContext(id);
        return;
    }
    const QJsonValue old = m_contexts.value(id);
    if (old.isObject())
        store(id, old, replaced(old.toObject(), value.toObject()));
    else
        store(id, old, value, value != old, value.toObject());
}

QJsonValue ContextService::updateContext(const QString &id, const QJsonValue &value)
{
    markUsed(id);
    const QJsonValue old = m_contexts[id];
    if (old.isNull()) {
        setContext(id, value);
        return value;
    }
    if (!old.isObject() || !value.isObject())
        return QJsonValue::Null;
    const ContextChange change = merged(old.toObject(), value.toObject());
    logNewValue(id, change.object);
    store(id, old, change);
    return change.object;
}

void ContextService::store(const QString &id, const QJsonValue &old, const ContextChange &change)
{
    QJsonObject object = change.object;
    if (!change.members.isEmpty()) {
        qCDebug(contextServiceLog)
            << change.members.keys() << "keys changed. Delete matching items.";
        dropMatchingItems(object);
    }
    logKeys(object);
    store(id, old, object, change.differs, change.members);
}

void ContextService::store(const QString &id, const QJsonValue &old, const QJsonValue &value,
                           bool differs, const QJsonObject &changes)
{
    m_contexts.insert(id, value);
    markUsed(id);
    if (differs)
        m_printed.forget(id);
    if (m_host->publisher && !changes.isEmpty()) {
        qCDebug(contextServiceLog)
            << "Notifying context" << id << "changed. Update:" << QJsonDocument(changes).toJson();
        m_host->publisher->publish(contextChangedChunk(id, changes, value));
    }

    // Whoever heard the chunk may have changed the context again, or have removed it, which is
    // announced already and leaves nothing, or a null when the id was read afterwards.
    const QJsonValue context = m_contexts.value(id);
    if (context.isNull())
        return;
    if (context == value ? differs : context != old)
        Q_EMIT contextChanged(id, context);
}

void ContextService::removeContext(const QString &id)
{
    const bool heldValue = !m_contexts.take(id).isNull();
    m_lastUse.remove(id);
    m_printed.forget(id);
    if (m_host->publisher)
        m_host->publisher->publish(contextRemovedChunk(id));
    if (heldValue)
        Q_EMIT contextRemoved(id);
}

void ContextService::dispatchChunk(const QJsonValue &chunk)
{
    const std::shared_ptr<const BehaviourList> behaviours = m_behaviours;
    if (behaviours)
        behaviours->handle(chunk);
}

void ContextService::setBehaviours(std::vector<std::unique_ptr<ChunkBehaviour>> behaviours)
{
    m_behaviours.reset();
    m_behaviours = std::make_shared<const BehaviourList>(std::move(behaviours));
}

void ContextService::markUsed(const QString &id)
{
    m_lastUse.insert(id, m_clock->now());
}

void ContextService::startCollector()
{
    const Settings settings(QCoreApplication::organizationName(),
                            QCoreApplication::applicationName());
    bool enabled = false;
    const int minutes =
        settings.value(QStringLiteral("ch.brenlo.kavo-service.context/ttl")).toInt(&enabled);
    if (!enabled)
        return;
    const qint32 period = collectionPeriod(minutes);
    qCInfo(contextServiceLog) << "Starting the context garbage collector, runs every " << period
                              << "miliseconds.";
    m_collectionTimer = new QTimer(this);
    m_collectionTimer->setInterval(period);
    connect(m_collectionTimer, &QTimer::timeout, this, [this, period] { collectGarbage(period); });
    m_collectionTimer->start();
}

void ContextService::collectGarbage(qint32 period)
{
    qCDebug(contextServiceLog) << "Garbage collector cleaning up.";
    const qint64 threshold = m_clock->now() - period;
    const QStringList ids = m_contexts.keys();
    for (const QString &id : ids) {
        qCDebug(contextServiceLog) << "Context " << id;
        const auto lastUse = m_lastUse.constFind(id);
        if (lastUse != m_lastUse.constEnd() && *lastUse > threshold)
            continue;
        qCWarning(contextServiceLog) << "Deleting context that was not used in more than " << period
                                     << " miliseconds: " << id
                                     << ". Increase, decrease or disable this setting under "
                                        "ch.brenlo.kavo-service.context/ttl.";
        removeContext(id);
    }
    m_lastUse.clear(); // so a context stays only if it is used again before the next pass
}
