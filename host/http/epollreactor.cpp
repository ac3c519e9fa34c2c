#include "http/reactor.h"

#include <QtCore/QSocketNotifier>

#include <array>
#include <sys/epoll.h>
#include <unistd.h>
#include <utility>

namespace host {

namespace {

/// All sockets in one epoll set, which the Qt event loop sees as a single descriptor. Edge
/// triggered, and registered once for everything: a request on a kept-alive connection then costs
/// one read and one write, and a parked one costs nothing until its peer moves.
class EpollReactor final : public Reactor
{
public:
    explicit EpollReactor(std::function<void()> afterBatch)
        : m_epoll(epoll_create1(EPOLL_CLOEXEC))
        , m_notifier(m_epoll, QSocketNotifier::Read)
        , m_afterBatch(std::move(afterBatch))
    {
        QObject::connect(&m_notifier, &QSocketNotifier::activated, &m_notifier,
                         [this] { dispatch(); });
    }

    ~EpollReactor() override
    {
        m_notifier.setEnabled(false);
        ::close(m_epoll);
    }

    bool add(SocketHandle handle, ReadinessSink *sink) override
    {
        epoll_event event = {};
        event.events = EPOLLIN | EPOLLOUT | EPOLLRDHUP | EPOLLET;
        event.data.ptr = sink;
        return epoll_ctl(m_epoll, EPOLL_CTL_ADD, handle, &event) == 0;
    }

    void remove(SocketHandle handle) override
    {
        epoll_ctl(m_epoll, EPOLL_CTL_DEL, handle, nullptr);
    }

    void setInterest(SocketHandle, bool, bool) override {}

    bool isInBatch() const override { return m_isInBatch; }

private:
    void dispatch()
    {
        std::array<epoll_event, 256> events;
        const int count = epoll_wait(m_epoll, events.data(), int(events.size()), 0);
        for (int i = 0; i < count; ++i) {
            const quint32 bits = events[std::size_t(i)].events;
            Readiness ready;
            ready.readable = bits & EPOLLIN;
            ready.writable = bits & EPOLLOUT;
            ready.peerClosed = bits & EPOLLRDHUP;
            ready.broken = bits & (EPOLLHUP | EPOLLERR);
            m_isInBatch = i + 1 < count;
            static_cast<ReadinessSink *>(events[std::size_t(i)].data.ptr)->onReady(ready);
        }
        m_afterBatch();
    }

    int m_epoll;
    QSocketNotifier m_notifier;
    std::function<void()> m_afterBatch;
    bool m_isInBatch = false;
};

} // namespace

std::unique_ptr<Reactor> Reactor::create(std::function<void()> afterBatch)
{
    // So that the tests drive the whole program on what other systems use.
    if (qEnvironmentVariableIsSet("KAVO_HOST_PORTABLE_REACTOR"))
        return createPortable(std::move(afterBatch));
    return std::make_unique<EpollReactor>(std::move(afterBatch));
}

} // namespace host
