#pragma once

#include <linux/capability.h>
#include <stdexcept>
#include <sys/syscall.h>
#include <unistd.h>

namespace quillora::test {

/// While it lives, file permissions hold for this thread even if the superuser runs the test.
class WithoutSuperuser {
public:
    WithoutSuperuser() {
        if (::syscall(SYS_capget, &m_header, m_before) != 0)
            throw std::runtime_error("the thread's capabilities cannot be read");
        __user_cap_data_struct without[_LINUX_CAPABILITY_U32S_3] = {m_before[0], m_before[1]};
        without[0].effective &= ~(1u << CAP_DAC_OVERRIDE | 1u << CAP_DAC_READ_SEARCH);
        set(without);
    }
    ~WithoutSuperuser() { ::syscall(SYS_capset, &m_header, m_before); }
    WithoutSuperuser(const WithoutSuperuser &) = delete;
    WithoutSuperuser &operator=(const WithoutSuperuser &) = delete;

private:
    void set(const __user_cap_data_struct *capabilities) {
        if (::syscall(SYS_capset, &m_header, capabilities) != 0)
            throw std::runtime_error("the thread's capabilities cannot be set");
    }

    __user_cap_header_struct m_header{_LINUX_CAPABILITY_VERSION_3, 0};
    __user_cap_data_struct m_before[_LINUX_CAPABILITY_U32S_3] = {};
};

} // namespace quillora::test
