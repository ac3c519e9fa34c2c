#include "http/reactor.h"
#include "support/connectedsocket.h"

#include <boost/asio/write.hpp>

#include <QtTest/QtTest>

#include <functional>

using namespace host;

namespace {

/// Reads what arrives and notes what it was told.
class ReadingSink final : public ReadinessSink
{
public:
    explicit ReadingSink(Socket &socket)
        : m_socket(socket)
    {
    }

    void onReady(const Readiness &ready) override
    {
        if (ready.writable) {
            writable = true;
            if (onWritable)
                onWritable();
        }
        if (!ready.readable && !ready.peerClosed && !ready.broken)
            return;
        char buffer[64];
        for (;;) {
            const IoResult result = m_socket.receive(buffer, sizeof buffer);
            if (result.status == IoResult::Closed) {
                closed = true;
                if (onClosed)
                    onClosed();
            }
            if (result.status != IoResult::Ok)
                return;
            received.append(buffer, int(result.bytes));
        }
    }

    QByteArray received;
    bool writable = false;
    bool closed = false;
    // What lasts is told again and again to who still wants to hear it, on some systems before the
    // event loop takes another breath. So a test says when it has heard enough.
    std::function<void()> onWritable;
    std::function<void()> onClosed;

private:
    Socket &m_socket;
};

using Factory = std::unique_ptr<Reactor> (*)(std::function<void()>);

} // namespace

Q_DECLARE_METATYPE(Factory)

/// Both reactors keep the same promises.
class TestReactor : public QObject
{
    Q_OBJECT

    support::ConnectedSocket m_sockets;
    Socket &m_socket = m_sockets.socket();

    static void eachReactor()
    {
        QTest::addColumn<Factory>("factory");
        QTest::newRow("of this system") << Factory(&Reactor::create);
        QTest::newRow("portable") << Factory(&Reactor::createPortable);
    }

private Q_SLOTS:
    void init() { QVERIFY(m_sockets.open()); }
    void cleanup() { m_sockets.close(); }

    void tellsWhatArrives_data() { eachReactor(); }
    void tellsWhatArrives()
    {
        QFETCH(Factory, factory);
        int batches = 0;
        const auto reactor = factory([&batches] { ++batches; });
        ReadingSink sink(m_socket);
        QVERIFY(reactor->add(m_socket.handle(), &sink));
        boost::asio::write(m_sockets.peer(), boost::asio::buffer("hello", 5));
        QTRY_COMPARE(sink.received, QByteArray("hello"));
        boost::asio::write(m_sockets.peer(), boost::asio::buffer("again", 5));
        QTRY_COMPARE(sink.received, QByteArray("helloagain"));
        QVERIFY(batches > 0);
        reactor->remove(m_socket.handle());
    }

    void tellsThatThePeerIsGone_data() { eachReactor(); }
    void tellsThatThePeerIsGone()
    {
        QFETCH(Factory, factory);
        const auto reactor = factory([] {});
        ReadingSink sink(m_socket);
        sink.onClosed = [&] { reactor->setInterest(m_socket.handle(), false, false); };
        QVERIFY(reactor->add(m_socket.handle(), &sink));
        boost::asio::write(m_sockets.peer(), boost::asio::buffer("last", 4));
        m_sockets.peer().close();
        QTRY_VERIFY(sink.closed);
        QCOMPARE(sink.received, QByteArray("last"));
        reactor->remove(m_socket.handle());
    }

    void tellsThatThereIsRoom_data() { eachReactor(); }
    void tellsThatThereIsRoom()
    {
        QFETCH(Factory, factory);
        const auto reactor = factory([] {});
        ReadingSink sink(m_socket);
        QVERIFY(reactor->add(m_socket.handle(), &sink));
        const QByteArray block(1024 * 1024, 'x');
        const ConstBuffer buffer{block.constData(), std::size_t(block.size())};
        std::size_t sent = 0;
        for (IoResult result; (result = m_socket.send(&buffer, 1)).status == IoResult::Ok;)
            sent += result.bytes;
        QCoreApplication::processEvents();
        sink.writable = false;
        sink.onWritable = [&] { reactor->setInterest(m_socket.handle(), true, false); };
        reactor->setInterest(m_socket.handle(), true, true);
        QByteArray drain(64 * 1024, '\0');
        std::size_t drained = 0;
        while (drained < sent)
            drained += m_sockets.peer().read_some(boost::asio::buffer(drain.data(), 65536));
        QTRY_VERIFY(sink.writable);
        reactor->remove(m_socket.handle());
    }

    void tellsNothingOfARemovedSocket_data() { eachReactor(); }
    void tellsNothingOfARemovedSocket()
    {
        QFETCH(Factory, factory);
        const auto reactor = factory([] {});
        ReadingSink removed(m_socket);
        QVERIFY(reactor->add(m_socket.handle(), &removed));
        reactor->remove(m_socket.handle());
        ReadingSink present(m_socket);
        QVERIFY(reactor->add(m_socket.handle(), &present));
        boost::asio::write(m_sockets.peer(), boost::asio::buffer("x", 1));
        QTRY_COMPARE(present.received, QByteArray("x"));
        QVERIFY(removed.received.isEmpty());
        reactor->remove(m_socket.handle());
    }
};

QTEST_GUILESS_MAIN(TestReactor)
#include "tst_reactor.moc"
