#include "http/socket.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <utility>

#ifdef Q_OS_WIN
#include <winsock2.h>
#include <ws2tcpip.h>
#else
#include <arpa/inet.h>
#include <cerrno>
#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/uio.h>
#include <unistd.h>
#endif

namespace host {

namespace {

constexpr int maxBuffers = 8;

// A burst of ten thousand polls opens faster than a small backlog drains.
constexpr int backlog = 4096;

#ifndef Q_OS_WIN
// For what is no client: the listening sockets, the module's files, the way to the broker.
constexpr rlim_t keptDescriptors = 64;
#endif

#ifdef Q_OS_WIN

void startSockets()
{
    static const int started = [] {
        WSADATA data;
        return WSAStartup(MAKEWORD(2, 2), &data);
    }();
    Q_UNUSED(started)
}

QString lastError()
{
    return qt_error_string(WSAGetLastError());
}

bool wouldBlock()
{
    return WSAGetLastError() == WSAEWOULDBLOCK;
}

void prepareSocket(SocketHandle handle)
{
    u_long on = 1;
    ioctlsocket(handle, FIONBIO, &on);
    SetHandleInformation(reinterpret_cast<HANDLE>(handle), HANDLE_FLAG_INHERIT, 0);
}

#else

void startSockets() {}

QString lastError()
{
    return QString::fromLocal8Bit(std::strerror(errno));
}

bool wouldBlock()
{
    return errno == EAGAIN || errno == EWOULDBLOCK;
}

void prepareSocket(SocketHandle handle)
{
    fcntl(handle, F_SETFL, fcntl(handle, F_GETFL) | O_NONBLOCK);
    fcntl(handle, F_SETFD, FD_CLOEXEC);
}

#endif

void setOption(SocketHandle handle, int level, int option, int value)
{
    setsockopt(handle, level, option, reinterpret_cast<const char *>(&value), sizeof value);
}

union SocketAddress {
    sockaddr any;
    sockaddr_in v4;
    sockaddr_in6 v6;
};

// Fills `address` and returns its length, or 0 when the text is no literal address.
socklen_t toSocketAddress(const QString &text, quint16 port, SocketAddress *address)
{
    std::memset(address, 0, sizeof *address);
    const QByteArray ascii = text.toLatin1();
    if (inet_pton(AF_INET, ascii.constData(), &address->v4.sin_addr) == 1) {
        address->v4.sin_family = AF_INET;
        address->v4.sin_port = htons(port);
        return sizeof address->v4;
    }
    if (inet_pton(AF_INET6, ascii.constData(), &address->v6.sin6_addr) == 1) {
        address->v6.sin6_family = AF_INET6;
        address->v6.sin6_port = htons(port);
        return sizeof address->v6;
    }
    return 0;
}

} // namespace

Socket::Socket(Socket &&other) noexcept
    : m_handle(std::exchange(other.m_handle, invalidSocket))
{
}

Socket &Socket::operator=(Socket &&other) noexcept
{
    if (this != &other) {
        close();
        m_handle = std::exchange(other.m_handle, invalidSocket);
    }
    return *this;
}

IoResult Socket::receive(char *data, std::size_t size)
{
    for (;;) {
        const auto n = ::recv(m_handle, data,
#ifdef Q_OS_WIN
                              int(qMin(size, std::size_t(1) << 30)),
#else
                              size,
#endif
                              0);
        if (n > 0)
            return {IoResult::Ok, std::size_t(n)};
        if (n == 0)
            return {IoResult::Closed, 0};
        if (wouldBlock())
            return {IoResult::WouldBlock, 0};
#ifndef Q_OS_WIN
        if (errno == EINTR)
            continue;
#endif
        return {IoResult::Closed, 0};
    }
}

IoResult Socket::send(const ConstBuffer *buffers, int count)
{
    Q_ASSERT(count <= maxBuffers);
#ifdef Q_OS_WIN
    WSABUF parts[maxBuffers];
    for (int i = 0; i < count; ++i) {
        parts[i].buf = const_cast<char *>(buffers[i].data);
        parts[i].len = ULONG(qMin(buffers[i].size, std::size_t(1) << 30));
    }
    DWORD sent = 0;
    if (WSASend(m_handle, parts, DWORD(count), &sent, 0, nullptr, nullptr) == 0)
        return {IoResult::Ok, sent};
    return {wouldBlock() ? IoResult::WouldBlock : IoResult::Closed, 0};
#else
    iovec parts[maxBuffers];
    for (int i = 0; i < count; ++i) {
        parts[i].iov_base = const_cast<char *>(buffers[i].data);
        parts[i].iov_len = buffers[i].size;
    }
    msghdr message = {};
    message.msg_iov = parts;
    message.msg_iovlen = decltype(message.msg_iovlen)(count);
    for (;;) {
        const ssize_t n = ::sendmsg(m_handle, &message, MSG_NOSIGNAL);
        if (n >= 0)
            return {IoResult::Ok, std::size_t(n)};
        if (wouldBlock())
            return {IoResult::WouldBlock, 0};
        if (errno != EINTR)
            return {IoResult::Closed, 0};
    }
#endif
}

void Socket::shutDownWriting()
{
#ifdef Q_OS_WIN
    ::shutdown(m_handle, SD_SEND);
#else
    ::shutdown(m_handle, SHUT_WR);
#endif
}

void Socket::close()
{
    if (!isOpen())
        return;
#ifdef Q_OS_WIN
    ::closesocket(m_handle);
#else
    ::close(m_handle);
#endif
    m_handle = invalidSocket;
}

Socket Socket::listen(const QString &address, quint16 port, QString *error)
{
    startSockets();
    SocketAddress target;
    const socklen_t length = toSocketAddress(address, port, &target);
    if (length == 0) {
        *error = QStringLiteral("not an IP address");
        return {};
    }
    Socket socket(SocketHandle(::socket(target.any.sa_family, SOCK_STREAM, IPPROTO_TCP)));
    if (!socket.isOpen()) {
        *error = lastError();
        return {};
    }
    prepareSocket(socket.handle());
#ifdef Q_OS_WIN
    // Without this another program could listen on the same port and take our requests.
    setOption(socket.handle(), SOL_SOCKET, SO_EXCLUSIVEADDRUSE, 1);
#else
    setOption(socket.handle(), SOL_SOCKET, SO_REUSEADDR, 1);
#endif
    if (target.any.sa_family == AF_INET6)
        setOption(socket.handle(), IPPROTO_IPV6, IPV6_V6ONLY, 1);
    if (::bind(socket.handle(), &target.any, length) != 0 ||
        ::listen(socket.handle(), backlog) != 0) {
        *error = lastError();
        return {};
    }
    return socket;
}

Socket::Accepted Socket::accept(Socket *connection)
{
#ifdef Q_OS_LINUX
    const SocketHandle handle = ::accept4(m_handle, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC);
#else
    const auto handle = SocketHandle(::accept(m_handle, nullptr, nullptr));
#endif
    if (handle == invalidSocket) {
        if (wouldBlock())
            return Accepted::NoneWaits;
#ifndef Q_OS_WIN
        if (errno == EINTR || errno == ECONNABORTED || errno == EPROTO)
            return accept(connection);
#endif
        return Accepted::Failed;
    }
#ifndef Q_OS_LINUX
    prepareSocket(handle);
#endif
    setOption(handle, IPPROTO_TCP, TCP_NODELAY, 1);
    *connection = Socket(handle);
    return Accepted::Yes;
}

quint16 Socket::localPort() const
{
    SocketAddress address = {};
    socklen_t length = sizeof address;
    if (::getsockname(m_handle, &address.any, &length) != 0)
        return 0;
    return ntohs(address.any.sa_family == AF_INET6 ? address.v6.sin6_port : address.v4.sin_port);
}

int raiseDescriptorLimit()
{
#ifdef Q_OS_WIN
    return std::numeric_limits<int>::max();
#else
    rlimit limit = {};
    if (getrlimit(RLIMIT_NOFILE, &limit) != 0)
        return std::numeric_limits<int>::max();
    if (limit.rlim_cur < limit.rlim_max) {
        rlimit raised = limit;
        raised.rlim_cur = limit.rlim_max;
        if (setrlimit(RLIMIT_NOFILE, &raised) == 0)
            limit = raised;
    }
    const rlim_t kept = std::min<rlim_t>(keptDescriptors, limit.rlim_cur / 2);
    return int(std::min<rlim_t>(limit.rlim_cur - kept, std::numeric_limits<int>::max()));
#endif
}

} // namespace host
