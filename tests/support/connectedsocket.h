#pragma once

#include "http/socket.h"

#include <QtTest/QTest>

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>

#include <memory>

namespace support {

/// A socket of the server's kind, and its peer on this machine. Lives in a test, on its thread.
class ConnectedSocket
{
public:
    /// False when there is none: the test has failed then.
    bool open()
    {
        close();
        QString error;
        host::Socket listening = host::Socket::listen(QStringLiteral("127.0.0.1"), 0, &error);
        if (!listening.isOpen()) {
            qWarning().noquote() << error;
            return false;
        }
        m_peer = std::make_unique<Peer>(m_context);
        m_peer->connect({boost::asio::ip::address_v4::loopback(), listening.localPort()});
        return QTest::qWaitFor(
            [&] { return listening.accept(&m_socket) == host::Socket::Accepted::Yes; });
    }

    void close()
    {
        m_socket.close();
        m_peer.reset();
    }

    using Peer = boost::asio::ip::tcp::socket;

    host::Socket &socket() { return m_socket; }
    Peer &peer() { return *m_peer; }

private:
    boost::asio::io_context m_context;
    std::unique_ptr<Peer> m_peer;
    host::Socket m_socket;
};

} // namespace support
