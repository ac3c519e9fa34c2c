#include "http/reactor.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QSocketNotifier>
#include <QtCore/QTimer>

#include <unordered_map>
#include <utility>
#include <vector>

#ifdef Q_OS_WIN
#include <winsock2.h>
#endif

namespace host {

namespace {

// A notifier may be let go from inside its own signal.
struct DeleteLater
{
    void operator()(QSocketNotifier *notifier) const
    {
        notifier->setEnabled(false);
        notifier->deleteLater();
    }
};

using Notifier = std::unique_ptr<QSocketNotifier, DeleteLater>;

#ifdef Q_OS_WIN
// Those of the sockets whose peer is known to be gone without reading from them. Winsock, as Wine
// has it, does not tell of a peer that closed while something it sent is unread; one that broke off
// is always seen.
std::vector<SocketHandle> vanishedPeers(const std::vector<SocketHandle> &sockets)
{
    std::vector<WSAPOLLFD> polled;
    polled.reserve(sockets.size());
    for (const SocketHandle socket : sockets)
        polled.push_back({socket, 0, 0}); // a hang-up and an error are told unasked
    std::vector<SocketHandle> vanished;
    if (polled.empty() || WSAPoll(polled.data(), ULONG(polled.size()), 0) <= 0)
        return vanished;
    for (const WSAPOLLFD &one : polled) {
        if (one.revents & (POLLHUP | POLLERR))
            vanished.push_back(one.fd);
    }
    return vanished;
}
#endif

/// Two socket notifiers of Qt's for each socket: runs wherever Qt does.
class NotifierReactor final : public Reactor
{
public:
    explicit NotifierReactor(std::function<void()> afterBatch)
        : m_afterBatch(std::move(afterBatch))
    {
#ifdef Q_OS_WIN
        constexpr int sweepMs = 500; // a client that goes away is noticed within a second
        QObject::connect(&m_sweep, &QTimer::timeout, &m_sweep, [this] { sweep(); });
        m_sweep.start(sweepMs);
#endif
    }

    bool add(SocketHandle handle, ReadinessSink *sink) override
    {
        Watch &watch = m_watches[handle];
        watch.reading = notifier(handle, QSocketNotifier::Read, sink, &Readiness::readable);
        watch.writing = notifier(handle, QSocketNotifier::Write, sink, &Readiness::writable);
        watch.writing->setEnabled(false);
        watch.sink = sink;
        return true;
    }

    void remove(SocketHandle handle) override
    {
        m_watches.erase(handle);
    }

    void setInterest(SocketHandle handle, bool reading, bool writing) override
    {
        const auto found = m_watches.find(handle);
        if (found == m_watches.end())
            return;
        found->second.reading->setEnabled(reading);
        found->second.writing->setEnabled(writing);
    }

private:
    struct Watch
    {
        Notifier reading;
        Notifier writing;
        ReadinessSink *sink = nullptr;
        bool isVanished = false; ///< and its sink has been told
    };

    Notifier notifier(SocketHandle handle, QSocketNotifier::Type type, ReadinessSink *sink,
                      bool Readiness::*news)
    {
        Notifier made(new QSocketNotifier(qintptr(handle), type));
        QObject::connect(made.get(), &QSocketNotifier::activated, made.get(), [this, sink, news] {
            Readiness ready;
            ready.*news = true;
            sink->onReady(ready);
            m_afterBatch();
#ifdef Q_OS_WIN
            givePostedEventsTheirTurn();
#endif
        });
        return made;
    }

#ifdef Q_OS_WIN
    // There Qt delivers posted events, timers of no interval among them, only when no message
    // waits; with clients that never pause that would be never.
    void givePostedEventsTheirTurn()
    {
        constexpr int turn = 64;
        if (++m_notices % turn == 0)
            QCoreApplication::sendPostedEvents();
    }

    // Notifiers say nothing about a socket that is not being read, and Windows now and then nothing
    // about a connection that broke off between two of their signals.
    void sweep()
    {
        std::vector<SocketHandle> sockets;
        for (const auto &watch : m_watches) {
            if (!watch.second.isVanished)
                sockets.push_back(watch.first);
        }
        for (const SocketHandle socket : vanishedPeers(sockets)) {
            const auto found = m_watches.find(socket); // gone when a sink before it took it out
            if (found == m_watches.end())
                continue;
            found->second.isVanished = true;
            Readiness ready;
            ready.peerClosed = true;
            found->second.sink->onReady(ready);
        }
        m_afterBatch();
    }

    QTimer m_sweep;
    quint32 m_notices = 0;
#endif

    std::unordered_map<SocketHandle, Watch> m_watches;
    std::function<void()> m_afterBatch;
};

} // namespace

std::unique_ptr<Reactor> Reactor::createPortable(std::function<void()> afterBatch)
{
    return std::make_unique<NotifierReactor>(std::move(afterBatch));
}

#ifndef Q_OS_LINUX
std::unique_ptr<Reactor> Reactor::create(std::function<void()> afterBatch)
{
    return createPortable(std::move(afterBatch));
}
#endif

} // namespace host
