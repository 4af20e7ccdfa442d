#include "platform/linux/recognition/RecognizerProcess.h"

#include <array>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <poll.h>
#include <spawn.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <system_error>
#include <thread>
#include <unistd.h>
#include <utility>

namespace quillora::platform {

namespace {

constexpr int patienceMs = 300;

void require(int error) {
    if (error != 0)
        throw std::system_error(error, std::generic_category());
}

/// How a process is started that inherits the socket and nothing else.
class Inheritance {
public:
    explicit Inheritance(int socket) {
        posix_spawn_file_actions_init(&m_files);
        for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
            require(posix_spawn_file_actions_addopen(&m_files, stream, "/dev/null", O_RDWR, 0));
        require(posix_spawn_file_actions_adddup2(&m_files, socket, recognizer::socketDescriptor));
        require(posix_spawn_file_actions_addclosefrom_np(&m_files, recognizer::socketDescriptor + 1));
        posix_spawnattr_init(&m_attributes);
        sigset_t signals;
        sigemptyset(&signals);
        posix_spawnattr_setsigmask(&m_attributes, &signals);
        sigfillset(&signals);
        posix_spawnattr_setsigdefault(&m_attributes, &signals);
        posix_spawnattr_setflags(&m_attributes, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
    }
    ~Inheritance() {
        posix_spawn_file_actions_destroy(&m_files);
        posix_spawnattr_destroy(&m_attributes);
    }
    Inheritance(const Inheritance &) = delete;
    Inheritance &operator=(const Inheritance &) = delete;

    pid_t start(const std::string &program) {
        std::string name = program;
        char *const arguments[] = {name.data(), nullptr};
        pid_t id = -1;
        require(posix_spawn(&id, program.c_str(), &m_files, &m_attributes, arguments, environ));
        return id;
    }

private:
    posix_spawn_file_actions_t m_files{};
    posix_spawnattr_t m_attributes{};
};

/// For one that even SIGKILL does not end at once, since it waits for a disk, say. It is no zombie
/// afterwards, and nobody waits for it meanwhile.
void collectLater(pid_t id) {
    try {
        std::thread([id] { ::waitpid(id, nullptr, 0); }).detach();
    } catch (const std::system_error &) {
        // Without a thread it is collected once this program has ended.
    }
}

} // namespace

std::string RecognizerProcess::installedProgram() {
    return std::filesystem::read_symlink("/proc/self/exe").replace_filename("quillora-recognizer");
}

RecognizerProcess::RecognizerProcess(const std::string &program) {
    auto [ours, theirs] = recognizer::Channel::pair();
    m_channel = std::move(ours);
    m_id = Inheritance(theirs.descriptor()).start(program);
    m_process = static_cast<int>(::syscall(SYS_pidfd_open, m_id, 0));
    m_schedule = ::open(("/proc/" + std::to_string(m_id) + "/schedstat").c_str(), O_RDONLY | O_CLOEXEC);
}

RecognizerProcess::~RecognizerProcess() {
    collect();
    for (const int descriptor : {m_process, m_schedule}) {
        if (descriptor >= 0)
            ::close(descriptor);
    }
}

std::chrono::milliseconds RecognizerProcess::starved() const {
    std::array<char, 128> text{};
    if (m_schedule < 0 || ::pread(m_schedule, text.data(), text.size() - 1, 0) <= 0)
        return {};
    // The time that it has run, then the time that it has waited, in nanoseconds.
    char *end = nullptr;
    std::strtoll(text.data(), &end, 10);
    return std::chrono::duration_cast<std::chrono::milliseconds>(
        std::chrono::nanoseconds(std::strtoll(end, nullptr, 10)));
}

int RecognizerProcess::collect() {
    if (m_id < 0)
        return 0;
    const auto hasEnded = [this] {
        pollfd process{m_process, POLLIN, 0};
        return ::poll(&process, 1, patienceMs) > 0;
    };
    const bool isToBeEnded = !m_channel.isOtherEndGone() || !hasEnded();
    if (isToBeEnded) {
        ::kill(m_id, SIGKILL);
        hasEnded();
    }
    const pid_t id = std::exchange(m_id, -1);
    int status = 0;
    const bool isCollected = ::waitpid(id, &status, WNOHANG) > 0;
    if (!isCollected)
        collectLater(id);
    if (isCollected && WIFEXITED(status))
        return WEXITSTATUS(status);
    return isCollected && WIFSIGNALED(status) && !isToBeEnded ? -WTERMSIG(status) : endedHere;
}

} // namespace quillora::platform
