#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QString>
#include <QtCore/QtGlobal>

#include <cstddef>

namespace host {

#ifdef Q_OS_WIN
using SocketHandle = quintptr;
constexpr SocketHandle invalidSocket = ~SocketHandle(0);
#else
using SocketHandle = int;
constexpr SocketHandle invalidSocket = -1;
#endif

/// What one non-blocking read or write came to.
struct IoResult
{
    enum Status { Ok, WouldBlock, Closed };
    Status status = Ok;
    std::size_t bytes = 0; ///< meaningful when Ok; a read of Ok moved at least one byte
};

/// A piece of memory to send.
struct ConstBuffer
{
    const char *data = nullptr;
    std::size_t size = 0;
};

/// A non-blocking TCP socket, closed by its destructor. The one place where the operating systems'
/// socket calls differ.
class Socket
{
public:
    Socket() = default;
    explicit Socket(SocketHandle handle)
        : m_handle(handle)
    {
    }
    Socket(Socket &&other) noexcept;
    Socket &operator=(Socket &&other) noexcept;
    Socket(const Socket &) = delete;
    Socket &operator=(const Socket &) = delete;
    ~Socket() { close(); }

    bool isOpen() const { return m_handle != invalidSocket; }
    SocketHandle handle() const { return m_handle; }

    IoResult receive(char *data, std::size_t size);

    /// Sends the buffers as one sequence; at most eight of them.
    IoResult send(const ConstBuffer *buffers, int count);

    void shutDownWriting();
    void close();

    /// A listening socket for a literal address. On failure the result is not open and `error` says
    /// why.
    static Socket listen(const QString &address, quint16 port, QString *error);

    /// What came of taking the next connection.
    enum class Accepted {
        Yes,
        NoneWaits,
        Failed ///< the system is out of descriptors or memory; connections may wait
    };
    Accepted accept(Socket *connection);

    quint16 localPort() const;

private:
    SocketHandle m_handle = invalidSocket;
};

/// Lets the process open as many descriptors as the system allows it, and returns how many of them
/// clients may have: taking and closing one connection too many needs a descriptor, and so do the
/// module's files.
int raiseDescriptorLimit();

} // namespace host
