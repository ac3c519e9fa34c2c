#include "http/outputqueue.h"
#include "support/connectedsocket.h"

#include <boost/asio/read.hpp>

#include <QtTest/QtTest>

using namespace host;

/// The queue against a real socket whose peer reads only when it is told to.
class TestOutputQueue : public QObject
{
    Q_OBJECT

    support::ConnectedSocket m_sockets;
    Socket &m_socket = m_sockets.socket();

    QByteArray readFromPeer(int size)
    {
        QByteArray bytes(size, '\0');
        boost::asio::read(m_sockets.peer(), boost::asio::buffer(bytes.data(), std::size_t(size)));
        return bytes;
    }

private Q_SLOTS:
    void init() { QVERIFY(m_sockets.open()); }
    void cleanup() { m_sockets.close(); }

    void aSocketWithRoomTakesAllAtOnce()
    {
        OutputQueue queue;
        QCOMPARE(sendOrQueue(m_socket, queue, {"head ", QByteArray(), "body"}), IoResult::Ok);
        QVERIFY(queue.isEmpty());
        QCOMPARE(queue.bytes(), qint64(0));
        QCOMPARE(readFromPeer(9), QByteArray("head body"));
    }

    void whatDoesNotFitWaitsInOrder()
    {
        OutputQueue queue;
        QByteArray expected;
        QByteArray big(32 * 1024 * 1024, 'x');
        for (int i = 0; i < big.size(); i += 4096)
            big[i] = char('a' + (i / 4096) % 26);
        QCOMPARE(sendOrQueue(m_socket, queue, {"first", big}), IoResult::WouldBlock);
        expected += "first" + big;
        for (int i = 0; i < 20; ++i) {
            const QByteArray piece = "piece" + QByteArray::number(i);
            QCOMPARE(sendOrQueue(m_socket, queue, {piece, ";"}), IoResult::WouldBlock);
            expected += piece + ';';
        }
        QVERIFY(queue.bytes() > 0);
        QByteArray received;
        while (received.size() < expected.size()) {
            const bool isDone = queue.flush(m_socket) == IoResult::Ok;
            const int left = expected.size() - received.size();
            received += readFromPeer(isDone ? left : qMin(left, 4096));
        }
        QVERIFY(received == expected);
        QVERIFY(queue.isEmpty());
        QCOMPARE(queue.bytes(), qint64(0));
    }

    void aClosedPeerIsTold()
    {
        OutputQueue queue;
        m_sockets.peer().set_option(boost::asio::socket_base::linger(true, 0));
        m_sockets.peer().close();
        IoResult::Status status = IoResult::Ok;
        QTRY_VERIFY((status = sendOrQueue(m_socket, queue, {"x"})) == IoResult::Closed);
    }
};

QTEST_GUILESS_MAIN(TestOutputQueue)
#include "tst_outputqueue.moc"
