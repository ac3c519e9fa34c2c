#include "http/outputqueue.h"

namespace host {

namespace {

constexpr std::size_t maxPieces = 8;

} // namespace

void OutputQueue::append(const QByteArray &piece, std::size_t sent)
{
    const auto size = std::size_t(piece.size());
    if (sent >= size)
        return;
    if (!m_pieces) {
        m_pieces = std::make_unique<std::deque<QByteArray>>();
        m_offset = sent;
    }
    Q_ASSERT(sent == 0 || m_pieces->empty());
    m_pieces->push_back(piece);
    m_bytes += qint64(size - sent);
}

IoResult::Status OutputQueue::flush(Socket &socket)
{
    while (m_pieces) {
        ConstBuffer buffers[maxPieces];
        std::size_t count = 0;
        for (const QByteArray &piece : *m_pieces) {
            const std::size_t skip = count == 0 ? m_offset : 0;
            buffers[count++] = {piece.constData() + skip, std::size_t(piece.size()) - skip};
            if (count == maxPieces)
                break;
        }
        const IoResult result = socket.send(buffers, int(count));
        if (result.status != IoResult::Ok)
            return result.status;
        drop(result.bytes);
    }
    return IoResult::Ok;
}

void OutputQueue::drop(std::size_t sent)
{
    m_bytes -= qint64(sent);
    m_offset += sent;
    while (!m_pieces->empty() && m_offset >= std::size_t(m_pieces->front().size())) {
        m_offset -= std::size_t(m_pieces->front().size());
        m_pieces->pop_front();
    }
    if (m_pieces->empty())
        clear();
}

void OutputQueue::clear()
{
    m_pieces.reset();
    m_offset = 0;
    m_bytes = 0;
}

IoResult::Status sendOrQueue(Socket &socket, OutputQueue &queue,
                             std::initializer_list<QByteArray> pieces)
{
    std::size_t sent = 0;
    if (queue.isEmpty()) {
        ConstBuffer buffers[maxPieces];
        int count = 0;
        for (const QByteArray &piece : pieces) {
            if (!piece.isEmpty())
                buffers[count++] = {piece.constData(), std::size_t(piece.size())};
        }
        const IoResult result = socket.send(buffers, count);
        if (result.status == IoResult::Closed)
            return IoResult::Closed;
        sent = result.bytes;
    }
    for (const QByteArray &piece : pieces) {
        const std::size_t taken = qMin(sent, std::size_t(piece.size()));
        queue.append(piece, taken);
        sent -= taken;
    }
    return queue.isEmpty() ? IoResult::Ok : IoResult::WouldBlock;
}

} // namespace host
