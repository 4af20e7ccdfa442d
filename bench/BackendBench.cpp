// How many translations a second the backend carries, how long each takes, and what that adds to the model's
// time: against a model that answers at once and one that takes a second, beside a reverse proxy that merely
// passes the requests on. Each answer must carry its question: the exit status is 1 if one is lost or
// crossed.
//
// usage: BackendBench QUILLORA-BACKEND [SECONDS]
#include <algorithm>
#include <arpa/inet.h>
#include <array>
#include <atomic>
#include <charconv>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <map>
#include <memory>
#include <netinet/tcp.h>
#include <queue>
#include <stdexcept>
#include <string>
#include <string_view>
#include <sys/epoll.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

/// What is wrong with the machine is no figure.
void require(bool holds, const char *what) {
    if (!holds)
        throw std::runtime_error(std::string(what) + ": " + std::strerror(errno));
}

sockaddr_in loopback(std::uint16_t port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return address;
}

int newSocket() {
    const int descriptor = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    require(descriptor >= 0, "socket");
    const int yes = 1;
    setsockopt(descriptor, IPPROTO_TCP, TCP_NODELAY, &yes, sizeof(yes));
    return descriptor;
}

/// The length of the first whole message in there, 0 if there is none yet.
std::size_t messageLength(std::string_view bytes) {
    const auto head = bytes.find("\r\n\r\n");
    if (head == std::string_view::npos)
        return 0;
    std::size_t length = 0;
    // The proxy writes names in small letters.
    for (const std::string_view name : {"Content-Length: ", "content-length: "}) {
        const auto field = bytes.find(name);
        if (field < head)
            std::from_chars(bytes.data() + field + name.size(), bytes.data() + head, length);
    }
    const auto whole = head + 4 + length;
    return bytes.size() < whole ? 0 : whole;
}

/// The question that a text carries, between asterisks.
std::string_view questionIn(std::string_view bytes) {
    const auto begin = bytes.find('*');
    const auto end = bytes.find('*', begin + 1);
    return end == std::string_view::npos ? std::string_view() : bytes.substr(begin, end - begin + 1);
}

void sendAll(int descriptor, std::string_view bytes) {
    while (!bytes.empty()) {
        const auto count = send(descriptor, bytes.data(), bytes.size(), MSG_NOSIGNAL);
        if (count < 0)
            return;
        bytes.remove_prefix(static_cast<std::size_t>(count));
    }
}

/// Answers each question with itself, after some time.
class Model {
public:
    explicit Model(std::chrono::milliseconds takes)
        : m_takes(takes), m_listener(newSocket()), m_poll(epoll_create1(0)) {
        auto address = loopback(0);
        socklen_t size = sizeof(address);
        require(bind(m_listener, reinterpret_cast<sockaddr *>(&address), sizeof(address)) == 0, "bind");
        require(listen(m_listener, 4096) == 0, "listen");
        getsockname(m_listener, reinterpret_cast<sockaddr *>(&address), &size);
        m_port = ntohs(address.sin_port);
        watch(m_listener);
        m_thread = std::thread([this] { run(); });
    }
    ~Model() {
        m_isStopping = true;
        m_thread.join();
        for (const auto &[descriptor, bytes] : m_pending)
            close(descriptor);
        close(m_listener);
        close(m_poll);
    }
    Model(const Model &) = delete;
    Model &operator=(const Model &) = delete;

    std::uint16_t port() const { return m_port; }

private:
    struct Due {
        Clock::time_point when;
        int descriptor;
        std::string bytes;
        bool operator<(const Due &other) const { return when > other.when; }
    };

    void watch(int descriptor) const {
        epoll_event event{.events = EPOLLIN, .data = {.fd = descriptor}};
        epoll_ctl(m_poll, EPOLL_CTL_ADD, descriptor, &event);
    }

    void run() {
        std::array<epoll_event, 256> events{};
        while (!m_isStopping) {
            int wait = 50;
            if (!m_due.empty())
                wait = static_cast<int>(std::clamp<std::int64_t>(
                    std::chrono::ceil<std::chrono::milliseconds>(m_due.top().when - Clock::now()).count(), 0,
                    50));
            const int count = epoll_wait(m_poll, events.data(), static_cast<int>(events.size()), wait);
            for (int index = 0; index < count; ++index)
                serve(events[static_cast<std::size_t>(index)].data.fd);
            for (; !m_due.empty() && m_due.top().when <= Clock::now(); m_due.pop())
                sendAll(m_due.top().descriptor, m_due.top().bytes);
        }
    }

    void serve(int descriptor) {
        if (descriptor == m_listener) {
            const int client = accept4(m_listener, nullptr, nullptr, SOCK_CLOEXEC);
            const int yes = 1;
            setsockopt(client, IPPROTO_TCP, TCP_NODELAY, &yes, sizeof(yes));
            m_pending[client];
            watch(client);
            return;
        }
        std::array<char, 65536> room{};
        const auto count = recv(descriptor, room.data(), room.size(), MSG_DONTWAIT);
        if (count <= 0) {
            m_pending.erase(descriptor);
            close(descriptor);
            return;
        }
        auto &bytes = m_pending[descriptor];
        bytes.append(room.data(), static_cast<std::size_t>(count));
        while (const auto length = messageLength(bytes)) {
            m_due.push({Clock::now() + m_takes, descriptor,
                        answerTo(questionIn(std::string_view(bytes).substr(0, length)))});
            bytes.erase(0, length);
        }
    }

    static std::string answerTo(std::string_view question) {
        const auto body =
            R"({"choices":[{"index":0,"finish_reason":"stop","message":{"role":"assistant","content":")" +
            std::string(question) + R"("}}]})";
        return "HTTP/1.1 200 OK\r\nContent-Type: application/json\r\nContent-Length: " +
               std::to_string(body.size()) + "\r\n\r\n" + body;
    }

    std::chrono::milliseconds m_takes;
    int m_listener;
    int m_poll;
    std::uint16_t m_port = 0;
    std::atomic<bool> m_isStopping = false;
    std::map<int, std::string> m_pending;
    std::priority_queue<Due> m_due;
    std::thread m_thread;
};

/// A server that runs as long as this object.
class Server {
public:
    Server(std::vector<std::string> command, const std::map<std::string, std::string> &environment,
           std::uint16_t port)
        : m_process(fork()) {
        require(m_process >= 0, "fork");
        if (m_process == 0) {
            for (const auto &[name, value] : environment)
                setenv(name.c_str(), value.c_str(), 1);
            std::vector<char *> words;
            for (auto &word : command)
                words.push_back(word.data());
            words.push_back(nullptr);
            if (!std::freopen("/dev/null", "w", stdout) || !std::freopen("/dev/null", "w", stderr))
                _exit(126);
            execvp(words[0], words.data());
            _exit(127);
        }
        const auto address = loopback(port);
        for (const auto end = Clock::now() + 30s; Clock::now() < end; std::this_thread::sleep_for(20ms)) {
            const int probe = newSocket();
            const bool isUp =
                connect(probe, reinterpret_cast<const sockaddr *>(&address), sizeof(address)) == 0;
            close(probe);
            if (isUp)
                return;
        }
        throw std::runtime_error(command.front() + " does not come up");
    }
    ~Server() {
        kill(m_process, SIGKILL);
        waitpid(m_process, nullptr, 0);
    }
    Server(const Server &) = delete;
    Server &operator=(const Server &) = delete;

    /// In megabytes, at its peak.
    double memory() const {
        std::ifstream status("/proc/" + std::to_string(m_process) + "/status");
        for (std::string line; std::getline(status, line);) {
            if (line.starts_with("VmHWM:"))
                return std::strtod(line.c_str() + 6, nullptr) / 1024;
        }
        return 0;
    }

private:
    pid_t m_process;
};

std::uint16_t freePort() {
    const int probe = newSocket();
    auto address = loopback(0);
    socklen_t size = sizeof(address);
    require(bind(probe, reinterpret_cast<sockaddr *>(&address), sizeof(address)) == 0, "bind");
    getsockname(probe, reinterpret_cast<sockaddr *>(&address), &size);
    close(probe);
    return ntohs(address.sin_port);
}

struct Figures {
    std::size_t answers = 0;
    std::size_t crossed = 0;
    std::size_t lost = 0;
    double perSecond = 0;
    double p50 = 0; ///< in milliseconds, as the next
    double p99 = 0;
};

/// So many clients, each of which asks as soon as it has been answered.
Figures measure(std::uint16_t port, std::size_t clientCount, std::chrono::seconds duration) {
    struct Client {
        int descriptor;
        std::string question;
        std::string pending;
        Clock::time_point asked;
        bool isWaiting;
    };
    const int poll = epoll_create1(0);
    std::vector<Client> clients(clientCount);
    std::vector<double> times;
    Figures figures;
    std::size_t number = 0;
    const auto ask = [&](Client &client) {
        client.question = "*question " + std::to_string(number++) + "*";
        const auto body =
            R"({"text":")" + client.question + R"(","sourceLanguage":"English","targetLanguage":"Kazakh"})";
        client.asked = Clock::now();
        client.isWaiting = true;
        sendAll(client.descriptor,
                "POST /v1/translate HTTP/1.1\r\nHost: localhost\r\nContent-Type: application/json\r\n"
                "Content-Length: " +
                    std::to_string(body.size()) + "\r\n\r\n" + body);
    };
    const auto address = loopback(port);
    for (std::size_t index = 0; index < clientCount; ++index) {
        clients[index].descriptor = newSocket();
        require(connect(clients[index].descriptor, reinterpret_cast<const sockaddr *>(&address),
                        sizeof(address)) == 0,
                "connect");
        epoll_event event{.events = EPOLLIN, .data = {.u64 = index}};
        epoll_ctl(poll, EPOLL_CTL_ADD, clients[index].descriptor, &event);
    }
    const auto begin = Clock::now();
    for (auto &client : clients)
        ask(client);
    std::size_t waiting = clientCount;
    std::array<epoll_event, 256> events{};
    std::array<char, 65536> room{};
    while (waiting > 0 && Clock::now() < begin + duration + 45s) {
        const int count = epoll_wait(poll, events.data(), static_cast<int>(events.size()), 1000);
        for (int index = 0; index < count; ++index) {
            auto &client = clients[events[static_cast<std::size_t>(index)].data.u64];
            const auto got = recv(client.descriptor, room.data(), room.size(), MSG_DONTWAIT);
            if (got <= 0) {
                epoll_ctl(poll, EPOLL_CTL_DEL, client.descriptor, nullptr);
                waiting -= client.isWaiting;
                client.isWaiting = false;
                ++figures.lost;
                continue;
            }
            client.pending.append(room.data(), static_cast<std::size_t>(got));
            const auto length = messageLength(client.pending);
            if (length == 0)
                continue;
            times.push_back(std::chrono::duration<double, std::milli>(Clock::now() - client.asked).count());
            const auto answer = std::string_view(client.pending).substr(0, length);
            figures.lost += !answer.starts_with("HTTP/1.1 200");
            figures.crossed += answer.starts_with("HTTP/1.1 200") && questionIn(answer) != client.question;
            client.pending.erase(0, length);
            client.isWaiting = false;
            --waiting;
            if (Clock::now() < begin + duration) {
                ask(client);
                ++waiting;
            }
        }
    }
    figures.lost += waiting;
    for (const auto &client : clients)
        close(client.descriptor);
    close(poll);
    std::sort(times.begin(), times.end());
    figures.answers = times.size();
    figures.perSecond =
        static_cast<double>(times.size()) / std::chrono::duration<double>(Clock::now() - begin).count();
    if (!times.empty()) {
        figures.p50 = times[times.size() / 2];
        figures.p99 = times[times.size() * 99 / 100];
    }
    return figures;
}

void printHeading(std::chrono::milliseconds takes) {
    std::printf("\nA model that takes %lld ms\n%7s  %-8s %9s %9s %9s %13s %8s %5s %8s %5s\n",
                static_cast<long long>(takes.count()), "clients", "by way", "a second", "p50 ms", "p99 ms",
                "added p50 ms", "answers", "lost", "crossed", "MB");
    std::fflush(stdout);
}

/// `added` is what the way adds to the time of the model itself, `memory` that of the program, both 0 for the
/// model.
void print(const char *way, std::size_t clients, const Figures &figures, double added, double memory) {
    std::printf("%7zu  %-8s %9.0f %9.2f %9.2f %13.2f %8zu %5zu %8zu %5.0f\n", clients, way, figures.perSecond,
                figures.p50, figures.p99, added, figures.answers, figures.lost, figures.crossed, memory);
    std::fflush(stdout);
}

/// True if nothing was lost and nothing crossed.
bool run(const std::string &program, std::chrono::seconds duration) {
    const std::string folder = std::string(std::getenv("TMPDIR") ? std::getenv("TMPDIR") : "/tmp") +
                               "/backend-bench-" + std::to_string(getpid());
    bool isWhole = true;
    for (const auto takes : {0ms, 1000ms}) {
        const Model model(takes);
        printHeading(takes);
        for (const std::size_t clients : {1U, 8U, 64U, 1000U}) {
            const auto port = freePort();
            const Server backend(
                {program, "serve"},
                {{"QUILLORA_BACKEND_UPSTREAM_URL",
                  "http://127.0.0.1:" + std::to_string(model.port()) + "/v1/chat/completions"},
                 {"QUILLORA_BACKEND_UPSTREAM_MODEL", "bench"},
                 {"QUILLORA_BACKEND_UPSTREAM_AT_ONCE", "1000"},
                 {"QUILLORA_BACKEND_SERVER_LISTEN", "127.0.0.1:" + std::to_string(port)}},
                port);
            const auto proxyPort = freePort();
            std::ofstream(folder)
                << "global\n maxconn 4000\ndefaults\n mode http\n timeout connect 5s\n timeout client 60s\n"
                   " timeout server 60s\nlisten all\n bind 127.0.0.1:"
                << proxyPort << "\n server one 127.0.0.1:" << model.port() << "\n";
            const Server proxy({"haproxy", "-db", "-f", folder}, {}, proxyPort);
            const auto bare = measure(model.port(), clients, duration);
            print("model", clients, bare, 0, 0);
            const auto passed = measure(proxyPort, clients, duration);
            print("proxy", clients, passed, passed.p50 - bare.p50, proxy.memory());
            const auto served = measure(port, clients, duration);
            print("backend", clients, served, served.p50 - bare.p50, backend.memory());
            isWhole = isWhole && served.lost == 0 && served.crossed == 0;
        }
    }
    unlink(folder.c_str());
    return isWhole;
}

} // namespace

int main(int count, char **arguments) {
    if (count < 2) {
        std::fprintf(stderr, "usage: BackendBench QUILLORA-BACKEND [SECONDS]\n");
        return 2;
    }
    rlimit limit{};
    getrlimit(RLIMIT_NOFILE, &limit);
    limit.rlim_cur = limit.rlim_max;
    setrlimit(RLIMIT_NOFILE, &limit);
    try {
        return run(arguments[1], std::chrono::seconds(count > 2 ? std::atoi(arguments[2]) : 3)) ? 0 : 1;
    } catch (const std::exception &error) {
        std::fprintf(stderr, "%s\n", error.what());
        return 1;
    }
}
