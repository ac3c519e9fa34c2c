#include "http/contexteventhub.h"

#include "context/contextservice.h"
#include "http/answer.h"
#include "http/contexteventcontroller.h"

#include <QtCore/QJsonDocument>

/// One value on its way to controllers: what they share while it is told, and where a walk along
/// their queue stands.
class ContextEventHub::Telling
{
public:
    Telling(ContextEventHub *hub, const QString &contextId, const QJsonValue &contextValue)
        : id(contextId)
        , value(contextValue)
        , object(contextValue.toObject())
        , outer(hub->m_telling)
        , m_hub(hub)
    {
        hub->m_telling = this;
    }
    ~Telling() { m_hub->m_telling = outer; }
    Telling(const Telling &) = delete;
    Telling &operator=(const Telling &) = delete;

    // Copies: the caller's may be the store's own, which a controller's answer may change.
    const QString id;
    const QJsonValue value;
    const QJsonObject object;
    QByteArray text; ///< null until a controller asks for it
    Place *next = nullptr;
    Telling *const outer;

private:
    ContextEventHub *m_hub;
};

void ContextEventHub::Place::leave()
{
    if (m_hub)
        m_hub->remove(*this);
}

ContextEventHub::ContextEventHub(ContextService *contexts)
    : m_contexts(contexts)
{
    connect(contexts, &ContextService::contextChanged, this, &ContextEventHub::tellWaiting);
    connect(contexts, &ContextService::contextRemoved, this, &ContextEventHub::tellRemoved);
}

ContextEventHub::~ContextEventHub()
{
    while (!m_queues.isEmpty())
        remove(*m_queues.begin()->first);
}

void ContextEventHub::wait(Place &place)
{
    place.leave();
    Queue &queue = m_queues[place.m_contextId];
    place.m_hub = this;
    place.m_turn = m_turns++;
    place.m_previous = queue.last;
    (queue.last ? queue.last->m_next : queue.first) = &place;
    queue.last = &place;
}

void ContextEventHub::remove(Place &place)
{
    for (Telling *telling = m_telling; telling; telling = telling->outer) {
        if (telling->next == &place)
            telling->next = place.m_next;
    }
    const auto queue = m_queues.find(place.m_contextId);
    (place.m_previous ? place.m_previous->m_next : queue->first) = place.m_next;
    (place.m_next ? place.m_next->m_previous : queue->last) = place.m_previous;
    if (!queue->first)
        m_queues.erase(queue);
    place.m_hub = nullptr;
    place.m_previous = nullptr;
    place.m_next = nullptr;
}

void ContextEventHub::tell(ContextEventController &controller, const QString &id,
                           const QJsonValue &value)
{
    const Telling telling(this, id, value);
    controller.onContextChanged(telling.id, telling.value);
}

void ContextEventHub::tellWaiting(const QString &id, const QJsonValue &value)
{
    const auto queue = m_queues.constFind(id);
    if (queue == m_queues.constEnd())
        return;
    Telling telling(this, id, value);
    const quint64 end = m_turns;
    telling.next = queue->first;
    while (Place *const place = telling.next) {
        if (place->m_turn >= end)
            break;
        telling.next = place->m_next;
        place->m_controller->onContextChanged(telling.id, telling.value);
    }
}

/// A removed context is told of as a null value: who waits for it is answered 404.
void ContextEventHub::tellRemoved(const QString &id)
{
    tellWaiting(id, QJsonValue(QJsonValue::Null));
}

QByteArray ContextEventHub::printed(const QJsonObject &object)
{
    if (!m_telling || m_telling->object != object)
        return QJsonDocument(object).toJson();
    if (m_telling->text.isNull())
        m_telling->text = m_contexts->printedContext(m_telling->id, object);
    return m_telling->text;
}
