#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QHash>
#include <QtCore/QJsonObject>
#include <QtCore/QJsonValue>
#include <QtCore/QObject>
#include <QtCore/QString>

class ContextEventController;
class ContextService;

/// Brings the changes of a context to the event controllers that wait for that context, in the
/// order they began to wait, and costs nothing for those that wait for another. Listens to the
/// ContextService once for all of them. A member of the ContextControllerStrategy; lives on the
/// event-loop thread.
class ContextEventHub final : public QObject
{
    Q_OBJECT

public:
    /// A controller's place in the queue of those that wait for one context. Its member: it leaves
    /// the queue with the controller, also in the middle of a walk along the queue.
    class Place
    {
    public:
        Place(ContextEventController *controller, const QString &contextId)
            : m_controller(controller)
            , m_contextId(contextId)
        {
        }
        ~Place() { leave(); }
        Place(const Place &) = delete;
        Place &operator=(const Place &) = delete;

        /// Harmless without waiting.
        void leave();

    private:
        friend class ContextEventHub;

        ContextEventController *m_controller;
        QString m_contextId;
        ContextEventHub *m_hub = nullptr; ///< null while not in a queue
        Place *m_previous = nullptr;
        Place *m_next = nullptr;
        quint64 m_turn = 0;
    };

    explicit ContextEventHub(ContextService *contexts);
    ~ContextEventHub() override;

    /// Queues `place` behind those that wait already. One that begins to wait while a change is
    /// brought around hears of the next change first, as with Qt's signals.
    void wait(Place &place);

    /// Tells one controller of `value` at once.
    void tell(ContextEventController &controller, const QString &id, const QJsonValue &value);

    /// `object` as indented JSON text: one text for all who are told of it.
    QByteArray printed(const QJsonObject &object);

private:
    struct Queue
    {
        Place *first = nullptr;
        Place *last = nullptr;
    };
    class Telling;

    void tellWaiting(const QString &id, const QJsonValue &value);
    void tellRemoved(const QString &id);
    void remove(Place &place);

    ContextService *m_contexts;
    QHash<QString, Queue> m_queues;
    Telling *m_telling = nullptr; ///< the innermost one; a change may be made while another is told
    quint64 m_turns = 0;
};
