// A client for what wrk does not measure. Prints one number, or "name number" lines.
//
//   pollclient latency PORT ROUNDS          median microseconds from a change to its waiting client
//   pollclient fanout PORT POLLS            milliseconds until the last of POLLS is answered
//   pollclient memory PORT POLLS PID        bytes that the server grows by for each waiting poll
//   pollclient contexts PORT COUNT PID KIND bytes that the server grows by for each of COUNT
//   contexts,
//                                           divided by the length of its JSON text. KIND: text (1
//                                           KB, most of it one text) or nested (many small members)
//   pollclient vanish PORT POLLS            milliseconds until the server has let go of POLLS
//   pollclient changes PORT POLLS ROUNDS    microseconds for a change while POLLS wait elsewhere
//   pollclient merge PORT ROUNDS            median milliseconds of a chunk with 1,000 entries for a
//                                           context of 2,000 items, half of the entries new
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

std::string put(const std::string &id, const std::string &body)
{
    return "PUT /context/" + id +
           " HTTP/1.1\r\nHost: localhost\r\nContent-Length: " + std::to_string(body.size()) +
           "\r\n\r\n" + body;
}

// A context of 1,024 bytes that differs each time.
std::string textContext()
{
    static int count = 0;
    std::string number = std::to_string(1000000 + ++count);
    std::string body = "{\"n\":\"" + number + "\",\"text\":\"";
    return body + std::string(1024 - body.size() - 2, 'x') + "\"}";
}

// What an application keeps of a patient: little texts, numbers and truths, three levels deep.
std::string nestedContext()
{
    static int count = 0;
    const std::string number = std::to_string(1000000 + ++count);
    std::string body =
        R"({"patient":{"id":")" + number +
        R"(","active":true,"name":{"family":"Muster","given":["Anna","Maria"]},"gender":"female",)"
        R"("birthDate":"1970-01-31","address":{"line":["Bahnhofstrasse 1"],"postalCode":"8001",)"
        R"("city":"Z\u00fcrich","country":"CH"},"telecom":[{"system":"phone","value":"+41 44 000 00 00"},)"
        R"({"system":"email","value":"anna@example.org"}]},"case":{"number":)" +
        number + R"(,"kind":"ambulant","open":true,"weight":61.5},"matchingItems":[)";
    for (int item = 0; item < 5; ++item)
        body +=
            std::string(item ? "," : "") + R"({"resourceType":"Observation","id":")" + number +
            "-" + std::to_string(item) +
            R"(","status":"final","value":{"value":7.2,"unit":"mmol/L"},"effective":"2026-01-31"})";
    return body + "]}";
}

std::string change(const std::string &id)
{
    return put(id, textContext());
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

double contexts(int port, int count, const std::string &pid, const std::string &kind)
{
    const Connection client(port);
    const auto store = [&](int number) {
        const std::string text = kind == "nested" ? nestedContext() : textContext();
        client.ask(put(kind + std::to_string(number), text));
        return text.size();
    };
    for (int i = 0; i < 100; ++i)
        store(i);
    const long before = residentBytes(pid);
    std::size_t bytes = 0;
    for (int i = 0; i < count; ++i)
        bytes += store(100 + i);
    return double(residentBytes(pid) - before) / double(bytes);
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

std::string item(int id, int version)
{
    return R"({"id":"item-)" + std::to_string(id) +
           R"(","resourceType":"Observation","status":"final","version":)" +
           std::to_string(version) + "}";
}

double merge(int port, int rounds)
{
    std::string context = R"({"matchingItems":[)";
    for (int id = 0; id < 2000; ++id)
        context += (id ? "," : "") + item(id, 0);
    context += "]}";
    std::string chunk = R"({"exchange":"kavo-context-add-matching-items","source":"bench",)"
                        R"("body":{"filter":{"bench":"merge"},"matchingItems":{"entry":[)";
    for (int i = 0; i < 1000; ++i)
        chunk +=
            (i ? R"(,{"resource":)" : R"({"resource":)") + item(i % 2 ? 1000000 + i : i, 1) + "}";
    chunk += "]}}}";
    const std::string post =
        "POST /exchange/chunks HTTP/1.1\r\nHost: localhost\r\nContent-Length: " +
        std::to_string(chunk.size()) + "\r\n\r\n" + chunk;

    const Connection connection(port);
    connection.ask(put("merge", R"({"bench":"merge"})"));
    std::vector<double> times;
    for (int i = 0; i < rounds; ++i) {
        connection.ask(put("merge", context));
        const auto start = Clock::now();
        if (connection.ask(post).find("\"delivered\":") == std::string::npos)
            throw std::runtime_error("the chunk was not delivered");
        times.push_back(microseconds(Clock::now() - start) / 1000);
    }
    if (connection.ask(get("/context/merge")).find("\"item-1000001\"") == std::string::npos)
        throw std::runtime_error("the chunk was not merged");
    std::nth_element(times.begin(), times.begin() + rounds / 2, times.end());
    return times[std::size_t(rounds / 2)];
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
    else if (what == "contexts")
        std::printf("%.2f\n", contexts(port, count, arguments.at(3), arguments.at(4)));
    else if (what == "vanish")
        std::printf("%.1f\n", vanish(port, count));
    else if (what == "changes")
        std::printf("%.1f\n", changes(port, count, std::stoi(arguments.at(3))));
    else if (what == "merge")
        std::printf("%.2f\n", merge(port, count));
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
