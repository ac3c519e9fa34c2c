#include "broker/wakepipe.h"

#include <cerrno>
#include <fcntl.h>
#include <system_error>
#include <unistd.h>

namespace host {

WakePipe::WakePipe()
{
    if (::pipe(m_ends) != 0)
        throw std::system_error(errno, std::generic_category(), "pipe");
    for (const int end : m_ends) {
        ::fcntl(end, F_SETFD, FD_CLOEXEC);
        ::fcntl(end, F_SETFL, O_NONBLOCK);
    }
}

WakePipe::~WakePipe()
{
    ::close(m_ends[0]);
    ::close(m_ends[1]);
}

void WakePipe::wake()
{
    const char byte = 0;
    const ssize_t written = ::write(m_ends[1], &byte, 1); // a full pipe wakes as well
    static_cast<void>(written);
}

void WakePipe::clear()
{
    char bytes[64];
    while (::read(m_ends[0], bytes, sizeof bytes) > 0) {
    }
}

} // namespace host
