#pragma once

#include "http/socket.h"

#include <QtCore/QByteArray>

#include <deque>
#include <initializer_list>
#include <memory>

namespace host {

/// What a socket did not take yet, in order. Pieces are shared with whoever made them, not copied.
/// Holds no memory while nothing waits.
class OutputQueue
{
public:
    bool isEmpty() const { return !m_pieces; }
    qint64 bytes() const { return m_bytes; }

    /// Queues what is left of `piece` after its first `sent` bytes.
    void append(const QByteArray &piece, std::size_t sent);

    /// Sends until the queue is empty (Ok) or the socket takes no more.
    IoResult::Status flush(Socket &socket);

    void clear();

private:
    void drop(std::size_t sent);

    std::unique_ptr<std::deque<QByteArray>> m_pieces;
    std::size_t m_offset = 0; ///< into the first piece
    qint64 m_bytes = 0;
};

/// Sends the pieces as one sequence, and queues what the socket does not take.
IoResult::Status sendOrQueue(Socket &socket, OutputQueue &queue,
                             std::initializer_list<QByteArray> pieces);

} // namespace host
