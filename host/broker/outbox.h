#pragma once

#include "broker/brokermessage.h"

#include <deque>
#include <optional>

namespace host {

/// How much may wait for the broker, and how much may be on the way to it.
struct OutboxLimits
{
    int messages = 10000;
    qint64 bytes = 64LL * 1024 * 1024;
    int window = 1000; ///< sent and not confirmed
    qint64 windowBytes = 8LL * 1024 * 1024;
    int flowing = 4; ///< times the room while the broker takes messages
};

/// What goes to the broker, in order: messages, which wait, are sent, and are settled by the
/// broker's confirmation; and between them the acknowledgements of deliveries, each of which is due
/// once everything before it is settled. So a delivery stays the broker's until what the module
/// published because of it is safe there too. Not thread-safe: `Handover` guards it.
class Outbox
{
public:
    explicit Outbox(const OutboxLimits &limits = {});

    /// Adds a message, at the cost of the oldest waiting ones; returns how many those were.
    /// `isFlowing`: the broker takes messages, so what waits will not do so for long, and there is
    /// more room. The largest request's event and reply alone are more than the room there is
    /// otherwise.
    int push(OutgoingMessage message, bool isFlowing = false);

    /// Adds the acknowledgement of a delivery.
    void pushAck(quint64 tag);

    /// What is to be sent next; null when nothing waits, or as many as `window` are on the way.
    const OutgoingMessage *front(int window);
    const OutgoingMessage *front() { return front(m_limits.window); }

    void advance(); ///< the front is sent: it waits for its confirmation
    void skip();    ///< the front can never be sent: it is dropped as if settled

    /// The broker confirmed the message with this number, or all up to it; the first message sent
    /// since the beginning or `rewind` has number 1. Returns how many were settled.
    int settle(quint64 number, bool multiple);

    /// The highest delivery that may be acknowledged since the last call, with all before it.
    std::optional<quint64> takeAck();

    /// No confirmation will come for what is on the way: it waits again, in front. Numbers begin
    /// anew. Returns how many messages those are.
    int rewind();

    /// The deliveries are gone with their connection: none of them can be acknowledged.
    void forgetAcks();

    bool isEmpty() const { return m_waiting.empty() && m_sent.empty() && !m_dueAck; }
    int messages() const { return m_waitingCount + m_sentCount; }
    int unconfirmed() const { return m_sentCount; }

    /// Whether so much waits that it is better to take no more deliveries.
    bool isBusy() const
    {
        return m_waitingCount > m_limits.messages / 2 || m_waitingBytes > m_limits.bytes / 2;
    }

private:
    struct Entry
    {
        OutgoingMessage message;
        bool isAck = false;
        quint64 number = 0; ///< of an acknowledgement the tag; of a sent message its number
        bool isSettled = false;
    };

    bool isFull(int times) const
    {
        return m_waitingCount > m_limits.messages * times ||
               m_waitingBytes > m_limits.bytes * times;
    }
    void dropOldest();
    void passAcks();
    void shrink();

    OutboxLimits m_limits;
    std::deque<Entry> m_waiting;
    std::deque<Entry> m_sent;
    int m_waitingCount = 0; // messages alone, as all of these
    qint64 m_waitingBytes = 0;
    int m_sentCount = 0;
    qint64 m_sentBytes = 0;
    quint64 m_lastNumber = 0;
    std::optional<quint64> m_dueAck;
};

} // namespace host
