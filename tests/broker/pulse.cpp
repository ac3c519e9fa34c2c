#include "broker/pulse.h"

#include <QtCore/QElapsedTimer>
#include <QtCore/QThread>

#include <algorithm>
#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

namespace {

constexpr timeval patience = {30, 0};

int connectTo(quint16 port)
{
    const int descriptor = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    ::setsockopt(descriptor, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (::connect(descriptor, reinterpret_cast<sockaddr *>(&address), sizeof address) == 0)
        return descriptor;
    ::close(descriptor);
    return -1;
}

// One request and its answer; false unless that is a whole one with status 200.
bool ask(int descriptor, const QByteArray &request)
{
    if (::send(descriptor, request.constData(), size_t(request.size()), MSG_NOSIGNAL) !=
        request.size())
        return false;
    const QByteArray length = "Content-Length: ";
    QByteArray answer;
    for (;;) {
        char block[4096];
        const ssize_t size = ::recv(descriptor, block, sizeof block, 0);
        if (size <= 0)
            return false;
        answer.append(block, int(size));
        const int head = answer.indexOf("\r\n\r\n");
        const int field = answer.indexOf(length);
        if (head < 0 || field < 0)
            continue;
        const int begin = field + length.size();
        const int body = answer.mid(begin, answer.indexOf('\r', begin) - begin).toInt();
        if (answer.size() >= head + 4 + body)
            return answer.startsWith("HTTP/1.1 200 ");
    }
}

} // namespace

Pulse::Pulse(quint16 port)
    : m_thread([this, port] { run(port); })
{
}

Pulse::~Pulse()
{
    stop();
}

void Pulse::stop()
{
    m_isOver = true;
    if (m_thread.joinable())
        m_thread.join();
}

QByteArray Pulse::summary(std::vector<qint64> micros)
{
    if (micros.empty())
        return "no answers";
    std::sort(micros.begin(), micros.end());
    const auto inMs = [](qint64 time) { return QByteArray::number(double(time) / 1000, 'f', 1); };
    const QByteArray all = "slowest " + inMs(micros.back()) + " ms of " +
                           QByteArray::number(int(micros.size())) + " answers";
    if (micros.size() < enough)
        return all + " (too few for a p99)";
    return "p99 " + inMs(micros.at(micros.size() * 99 / 100)) + " ms, " + all;
}

void Pulse::run(quint16 port)
{
    const QByteArray request = QByteArray("GET ") + path() + " HTTP/1.1\r\nHost: localhost\r\n\r\n";
    const int descriptor = connectTo(port);
    while (!m_isOver) {
        QElapsedTimer clock;
        clock.start();
        if (descriptor < 0 || !ask(descriptor, request)) {
            ++m_failures;
            break;
        }
        m_micros.push_back(clock.nsecsElapsed() / 1000);
        ++m_answers;
        QThread::msleep(1);
    }
    if (descriptor >= 0)
        ::close(descriptor);
}
