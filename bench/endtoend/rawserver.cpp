// The limit of one thread: an epoll loop with canned answers, which parses next to nothing. What a
// real server reaches is told as a fraction of this.
//
//   rawserver PORT BYTES
//
// GET …/event waits until the next PUT; any other GET and every PUT is answered with BYTES bytes; a
// POST is answered 204 once its Content-Length has arrived.

#include <arpa/inet.h>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <netinet/tcp.h>
#include <string>
#include <sys/epoll.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>
#include <vector>

namespace {

std::string answer;
const std::string noContent = "HTTP/1.1 204 No Content\r\n\r\n";
std::vector<int> parked;
std::vector<long> bodyLeft(65536, 0); // by descriptor
char buffer[1 << 20];

void send(int socket, const std::string &text)
{
    if (::send(socket, text.data(), text.size(), MSG_NOSIGNAL) < 0)
        ::close(socket);
}

void handleRequest(int socket, const char *begin, const char *end)
{
    const std::string_view head(begin, std::size_t(end - begin));
    if (head.substr(0, 4) == "POST") {
        const std::size_t at = head.find("Content-Length: ");
        const std::size_t body = head.find("\r\n\r\n") + 4;
        const long length = at == head.npos ? 0 : std::atol(begin + at + 16);
        bodyLeft[std::size_t(socket)] = length - long(head.size() - body);
        if (bodyLeft[std::size_t(socket)] <= 0)
            send(socket, noContent);
        return;
    }
    const std::string_view line = head.substr(0, head.find('\r'));
    if (line.find("/event") != line.npos) {
        parked.push_back(socket);
        return;
    }
    send(socket, answer);
    if (head.substr(0, 3) == "PUT") {
        for (const int waiting : parked)
            send(waiting, answer);
        parked.clear();
    }
}

bool handleReadable(int socket)
{
    const ssize_t size = ::recv(socket, buffer, sizeof buffer, 0);
    if (size <= 0)
        return size < 0;
    long &left = bodyLeft[std::size_t(socket)];
    if (left > 0) {
        left -= size;
        if (left <= 0)
            send(socket, noContent);
        return true;
    }
    handleRequest(socket, buffer, buffer + size);
    return true;
}

int listenOn(int port)
{
    const int listening = ::socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK, 0);
    const int on = 1;
    setsockopt(listening, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(std::uint16_t(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (bind(listening, reinterpret_cast<sockaddr *>(&address), sizeof address) != 0 ||
        listen(listening, 4096) != 0) {
        std::perror("rawserver");
        std::exit(1);
    }
    return listening;
}

} // namespace

int main(int argc, char **argv)
{
    if (argc != 3) {
        std::fprintf(stderr, "usage: rawserver PORT BYTES\n");
        return 2;
    }
    rlimit limit = {};
    getrlimit(RLIMIT_NOFILE, &limit);
    limit.rlim_cur = limit.rlim_max;
    setrlimit(RLIMIT_NOFILE, &limit);
    const std::string body(std::size_t(std::atol(argv[2])), 'x');
    answer = "HTTP/1.1 200 OK\r\nContent-Type: application/json\r\nContent-Length: " +
             std::to_string(body.size()) + "\r\n\r\n" + body;

    const int listening = listenOn(std::atoi(argv[1]));
    const int set = epoll_create1(0);
    epoll_event event = {};
    event.events = EPOLLIN;
    event.data.fd = listening;
    epoll_ctl(set, EPOLL_CTL_ADD, listening, &event);
    epoll_event events[256];
    for (;;) {
        const int count = epoll_wait(set, events, 256, -1);
        for (int i = 0; i < count; ++i) {
            const int socket = events[i].data.fd;
            if (socket != listening) {
                if (!handleReadable(socket))
                    ::close(socket);
                continue;
            }
            for (int accepted; (accepted = accept4(listening, nullptr, nullptr, 0)) >= 0;) {
                const int on = 1;
                setsockopt(accepted, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
                event.data.fd = accepted;
                epoll_ctl(set, EPOLL_CTL_ADD, accepted, &event);
                if (std::size_t(accepted) >= bodyLeft.size())
                    return 1;
                fcntl(listening, F_SETFL, O_NONBLOCK);
            }
        }
    }
}
