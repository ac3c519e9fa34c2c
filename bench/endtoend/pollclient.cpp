// A client for what wrk does not measure. Prints one number, or "name number" lines.
//
//   pollclient latency PORT ROUNDS          median microseconds from a change to its waiting client
//   pollclient fanout PORT POLLS            milliseconds until the last of POLLS is answered
//   pollclient memory PORT POLLS PID        bytes that the server grows by for each waiting poll
//   pollclient vanish PORT POLLS            milliseconds until the server has let go of POLLS
//   pollclient changes PORT POLLS ROUNDS    microseconds for a change while POLLS wait elsewhere
//   pollclient upload PORT MIB ROUNDS       MB/s of uploads with one file, without and with
//                                           content full of CR and dashes

#include <algorithm>
#include <arpa/inet.h>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <netinet/tcp.h>
#include <stdexcept>
#include <string>
#include <sys/epoll.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

double microseconds(Clock::duration duration)
{
    return std::chrono::duration<double, std::micro>(duration).count();
}

/// A blocking connection.
class Connection
{
public:
    explicit Connection(int port)
        : m_socket(::socket(AF_INET, SOCK_STREAM, 0))
    {
        sockaddr_in address = {};
        address.sin_family = AF_INET;
        address.sin_port = htons(std::uint16_t(port));
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        if (connect(m_socket, reinterpret_cast<sockaddr *>(&address), sizeof address) != 0)
            throw std::runtime_error("cannot connect");
        const int on = 1;
        setsockopt(m_socket, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    }
    Connection(Connection &&other) noexcept
        : m_socket(other.m_socket)
    {
        other.m_socket = -1;
    }
    Connection(const Connection &) = delete;
    Connection &operator=(const Connection &) = delete;
    ~Connection()
    {
        if (m_socket >= 0)
            ::close(m_socket);
    }

    int handle() const { return m_socket; }

    void send(const std::string &text) const
    {
        for (std::size_t sent = 0; sent < text.size();) {
            const ssize_t n = ::send(m_socket, text.data() + sent, text.size() - sent, 0);
            if (n <= 0)
                throw std::runtime_error("cannot send");
            sent += std::size_t(n);
        }
    }

    bool hasInput() const
    {
        char byte = 0;
        return ::recv(m_socket, &byte, 1, MSG_PEEK | MSG_DONTWAIT) > 0;
    }

    /// One whole answer.
    std::string receive() const
    {
        std::string text;
        std::size_t whole = std::string::npos;
        char buffer[16384];
        while (text.size() < whole) {
            const ssize_t n = ::recv(m_socket, buffer, sizeof buffer, 0);
            if (n <= 0)
                throw std::runtime_error("cannot receive");
            text.append(buffer, std::size_t(n));
            const std::size_t end = text.find("\r\n\r\n");
            if (whole == std::string::npos && end != std::string::npos) {
                const std::size_t length = text.find("Content-Length: ");
                whole = end + 4 +
                        (length < end ? std::size_t(std::atol(text.c_str() + length + 16)) : 0);
            }
        }
        return text;
    }

    std::string ask(const std::string &text) const
    {
        send(text);
        return receive();
    }

private:
    int m_socket;
};

std::string get(const std::string &path)
{
    return "GET " + path + " HTTP/1.1\r\nHost: localhost\r\n\r\n";
}

// A context of 1,024 bytes that differs each time.
std::string change(const std::string &id)
{
    static int count = 0;
    std::string number = std::to_string(1000000 + ++count);
    std::string body = "{\"n\":\"" + number + "\",\"text\":\"";
    body += std::string(1024 - body.size() - 2, 'x') + "\"}";
    return "PUT /context/" + id +
           " HTTP/1.1\r\nHost: localhost\r\nContent-Length: " + std::to_string(body.size()) +
           "\r\n\r\n" + body;
}

// The server has seen what was sent before on other connections once this is answered: it has one
// thread.
void settle(const Connection &connection)
{
    for (int i = 0; i < 2; ++i)
        connection.ask(get("/context/other"));
}

std::vector<Connection> park(int port, const std::string &id, int polls)
{
    const Connection changer(port);
    changer.ask(change("other"));
    changer.ask(change(id));
    const std::string poll = get("/context/" + id + "/event");
    std::vector<Connection> waiting;
    waiting.reserve(std::size_t(polls));
    {
        // A version that no poll has had yet is answered at once: afterwards polls wait.
        const Connection first(port);
        first.send(poll);
        settle(changer);
        if (!first.hasInput())
            changer.ask(change(id));
        first.receive();
    }
    for (int i = 0; i < polls; ++i) {
        waiting.emplace_back(port);
        waiting.back().send(poll);
    }
    settle(changer);
    return waiting;
}

double latency(int port, int rounds)
{
    const Connection changer(port);
    const std::vector<Connection> one = park(port, "lat", 1);
    std::vector<double> times;
    for (int i = 0; i < rounds; ++i) {
        const std::string text = change("lat");
        const auto start = Clock::now();
        changer.send(text);
        one[0].receive();
        times.push_back(microseconds(Clock::now() - start));
        changer.receive();
        one[0].send(get("/context/lat/event"));
        settle(changer);
    }
    std::nth_element(times.begin(), times.begin() + rounds / 2, times.end());
    return times[std::size_t(rounds / 2)];
}

double fanout(int port, int polls)
{
    const std::vector<Connection> waiting = park(port, "fan", polls);
    const int set = epoll_create1(0);
    for (const Connection &connection : waiting) {
        epoll_event event = {};
        event.events = EPOLLIN | EPOLLET;
        event.data.fd = connection.handle();
        epoll_ctl(set, EPOLL_CTL_ADD, connection.handle(), &event);
    }
    const Connection changer(port);
    char buffer[4096];
    std::vector<epoll_event> events(512);
    const auto start = Clock::now();
    changer.send(change("fan"));
    for (int answered = 0; answered < polls;) {
        const int count = epoll_wait(set, events.data(), int(events.size()), 10000);
        if (count <= 0)
            throw std::runtime_error("polls were not answered");
        for (int i = 0; i < count; ++i) {
            // An answer is written at once and fits: its first read is all of it.
            if (::recv(events[std::size_t(i)].data.fd, buffer, sizeof buffer, 0) <= 0)
                throw std::runtime_error("a poll was cut off");
            ++answered;
        }
    }
    const double last = microseconds(Clock::now() - start) / 1000;
    ::close(set);
    return last;
}

long residentBytes(const std::string &pid)
{
    std::ifstream status("/proc/" + pid + "/status");
    for (std::string line; std::getline(status, line);) {
        if (line.rfind("VmRSS:", 0) == 0)
            return std::atol(line.c_str() + 6) * 1024;
    }
    throw std::runtime_error("no such process");
}

double memory(int port, int polls, const std::string &pid)
{
    park(port, "mem", 100);
    const long before = residentBytes(pid);
    const std::vector<Connection> waiting = park(port, "mem", polls);
    return double(residentBytes(pid) - before) / polls;
}

double vanish(int port, int polls)
{
    std::vector<Connection> waiting = park(port, "van", polls);
    const Connection watcher(port);
    const auto start = Clock::now();
    waiting.clear();
    while (watcher.ask(get("/health")).find("\"waiting\":1}") == std::string::npos) {
        if (microseconds(Clock::now() - start) > 3e7)
            throw std::runtime_error("polls were not let go");
    }
    return microseconds(Clock::now() - start) / 1000;
}

double changes(int port, int polls, int rounds)
{
    const std::vector<Connection> waiting = park(port, "crowd", polls);
    const Connection changer(port);
    changer.ask(change("own"));
    const auto start = Clock::now();
    for (int i = 0; i < rounds; ++i)
        changer.ask(change("own"));
    return microseconds(Clock::now() - start) / rounds;
}

double upload(int port, int mib, int rounds, bool isNasty)
{
    const std::string boundary = "----------------------------2f3a9c1d7b5e";
    std::string content(std::size_t(mib) << 20, 'x');
    const std::string nearMiss = "\r\n--" + boundary.substr(0, 30);
    for (std::size_t i = 0; isNasty && i + nearMiss.size() < content.size(); i += nearMiss.size())
        content.replace(i, nearMiss.size(), nearMiss);
    const std::string body =
        "--" + boundary +
        "\r\nContent-Disposition: form-data; name=\"f\"; filename=\"f.bin\"\r\n\r\n" + content +
        "\r\n--" + boundary + "--\r\n";
    const std::string text = "POST /context/up/file HTTP/1.1\r\nHost: localhost\r\n"
                             "Content-Type: multipart/form-data; boundary=" +
                             boundary + "\r\nContent-Length: " + std::to_string(body.size()) +
                             "\r\n\r\n" + body;
    const Connection connection(port);
    connection.ask(text);
    const auto start = Clock::now();
    for (int i = 0; i < rounds; ++i)
        connection.ask(text);
    return double(body.size()) * rounds / microseconds(Clock::now() - start);
}

int run(const std::vector<std::string> &arguments)
{
    const std::string &what = arguments.at(0);
    const int port = std::stoi(arguments.at(1));
    const int count = std::stoi(arguments.at(2));
    if (what == "latency")
        std::printf("%.1f\n", latency(port, count));
    else if (what == "fanout")
        std::printf("%.1f\n", fanout(port, count));
    else if (what == "memory")
        std::printf("%.0f\n", memory(port, count, arguments.at(3)));
    else if (what == "vanish")
        std::printf("%.1f\n", vanish(port, count));
    else if (what == "changes")
        std::printf("%.1f\n", changes(port, count, std::stoi(arguments.at(3))));
    else if (what == "upload")
        std::printf("plain %.0f\nnasty %.0f\n",
                    upload(port, count, std::stoi(arguments.at(3)), false),
                    upload(port, count, std::stoi(arguments.at(3)), true));
    else
        return 2;
    return 0;
}

} // namespace

int main(int argc, char **argv)
{
    rlimit limit = {};
    getrlimit(RLIMIT_NOFILE, &limit);
    limit.rlim_cur = limit.rlim_max;
    setrlimit(RLIMIT_NOFILE, &limit);
    try {
        return run(std::vector<std::string>(argv + 1, argv + argc));
    } catch (const std::exception &exception) {
        std::fprintf(stderr, "pollclient: %s\n", exception.what());
        return 1;
    }
}
