#include "app/shutdownsignal.h"

#include <QtCore/QSocketNotifier>

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <system_error>
#include <unistd.h>

namespace host {
namespace {

int writeEnd = -1; // set before the handlers are in place
volatile std::sig_atomic_t wishes = 0;

// Only what a signal handler may call.
void onSignal(int number)
{
    const int savedErrno = errno;
    if (wishes++ > 0) {
        std::signal(number, SIG_DFL);
        ::raise(number);
    } else {
        const char byte = 0;
        const ssize_t written = ::write(writeEnd, &byte, 1); // one byte always fits
        static_cast<void>(written);
    }
    errno = savedErrno;
}

void handle(int number, void (*handler)(int))
{
    struct sigaction action = {};
    action.sa_handler = handler;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESTART;
    sigaction(number, &action, nullptr);
}

} // namespace

class ShutdownSignal::Private
{
public:
    explicit Private(std::function<void()> onRequest)
    {
        if (::pipe(m_pipe) != 0)
            throw std::system_error(errno, std::generic_category(), "pipe");
        for (const int end : m_pipe) {
            ::fcntl(end, F_SETFD, FD_CLOEXEC);
            ::fcntl(end, F_SETFL, O_NONBLOCK);
        }
        m_notifier = std::make_unique<QSocketNotifier>(m_pipe[0], QSocketNotifier::Read);
        QObject::connect(m_notifier.get(), &QSocketNotifier::activated, m_notifier.get(),
                         [this, request = std::move(onRequest)] {
                             m_notifier->setEnabled(false);
                             request();
                         });
        writeEnd = m_pipe[1];
        wishes = 0;
        handle(SIGINT, onSignal);
        handle(SIGTERM, onSignal);
        handle(SIGPIPE, SIG_IGN); // who reads our output may leave before us
    }

    ~Private()
    {
        handle(SIGINT, SIG_DFL);
        handle(SIGTERM, SIG_DFL);
        m_notifier.reset();
        ::close(m_pipe[0]);
        ::close(m_pipe[1]);
    }

    Private(const Private &) = delete;
    Private &operator=(const Private &) = delete;

private:
    int m_pipe[2] = {-1, -1};
    std::unique_ptr<QSocketNotifier> m_notifier;
};

ShutdownSignal::ShutdownSignal(std::function<void()> onRequest)
    : d(std::make_unique<Private>(std::move(onRequest)))
{
}

ShutdownSignal::~ShutdownSignal() = default;

} // namespace host
