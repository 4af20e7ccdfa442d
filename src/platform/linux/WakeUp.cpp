#include "platform/linux/WakeUp.h"

#include <cerrno>
#include <cstdint>
#include <poll.h>
#include <sys/eventfd.h>
#include <system_error>
#include <unistd.h>

namespace quillora::platform {

WakeUp::WakeUp() : m_descriptor(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
    if (m_descriptor < 0)
        throw std::system_error(errno, std::generic_category());
}

WakeUp::~WakeUp() { ::close(m_descriptor); }

void WakeUp::wake() {
    // A counter that is full has woken already.
    [[maybe_unused]] const int ignored = ::eventfd_write(m_descriptor, 1);
}

void WakeUp::settle() {
    std::uint64_t count = 0;
    [[maybe_unused]] const int ignored = ::eventfd_read(m_descriptor, &count);
}

void WakeUp::await() {
    pollfd self{m_descriptor, POLLIN, 0};
    ::poll(&self, 1, -1);
    settle();
}

} // namespace quillora::platform
