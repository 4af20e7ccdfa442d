#include "platform/linux/instance/TerminationSignals.h"

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <system_error>
#include <unistd.h>

namespace quillora::platform {

namespace {

constexpr std::array terminationSignals{SIGTERM, SIGINT, SIGHUP};

volatile int signalledPipe = -1;

/// Runs in the middle of anything: it may only write.
void passOn(int) {
    const int savedErrno = errno;
    const char byte = 0;
    [[maybe_unused]] const auto written = ::write(signalledPipe, &byte, 1);
    errno = savedErrno;
}

std::array<int, 2> makePipe() {
    std::array<int, 2> ends;
    if (::pipe2(ends.data(), O_CLOEXEC | O_NONBLOCK) != 0)
        throw std::system_error(errno, std::generic_category(), "pipe2");
    return ends;
}

} // namespace

TerminationSignals::TerminationSignals() : m_pipe(makePipe()), m_notifier(m_pipe[0], QSocketNotifier::Read) {
    connect(&m_notifier, &QSocketNotifier::activated, this, [this] {
        char byte;
        while (::read(m_pipe[0], &byte, 1) > 0) {
        }
        Q_EMIT received();
    });
    signalledPipe = m_pipe[1];
    for (const int number : terminationSignals)
        std::signal(number, passOn);
}

TerminationSignals::~TerminationSignals() {
    for (const int number : terminationSignals)
        std::signal(number, SIG_DFL);
    signalledPipe = -1;
    for (const int end : m_pipe)
        ::close(end);
}

} // namespace quillora::platform
