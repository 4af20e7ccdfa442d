#include "recognizer/Confinement.h"

#include "recognizer/protocol/Messages.h"

#include <cerrno>
#include <fcntl.h>
#include <filesystem>
#include <initializer_list>
#include <linux/landlock.h>
#include <memory>
#include <sched.h>
#include <seccomp.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace quillora::recognizer {

namespace {

constexpr auto libraryFolders = {"/usr/lib", "/usr/lib64", "/lib", "/lib64", "/etc/ld.so.cache"};

/// What a recognition library needs that computes, allocates, runs threads, reads files and uses the socket
/// that is there already.
constexpr auto allowedCalls = {
    SCMP_SYS(read),          SCMP_SYS(readv),
    SCMP_SYS(pread64),       SCMP_SYS(write),
    SCMP_SYS(writev),        SCMP_SYS(recvfrom),
    SCMP_SYS(recvmsg),       SCMP_SYS(sendto),
    SCMP_SYS(sendmsg),       SCMP_SYS(close),
    SCMP_SYS(fstat),         SCMP_SYS(newfstatat),
    SCMP_SYS(stat),          SCMP_SYS(lstat),
    SCMP_SYS(statx),         SCMP_SYS(access),
    SCMP_SYS(faccessat),     SCMP_SYS(faccessat2),
    SCMP_SYS(readlink),      SCMP_SYS(readlinkat),
    SCMP_SYS(getcwd),        SCMP_SYS(getdents64),
    SCMP_SYS(lseek),         SCMP_SYS(fcntl),
    SCMP_SYS(poll),          SCMP_SYS(ppoll),
    SCMP_SYS(mmap),          SCMP_SYS(munmap),
    SCMP_SYS(mremap),        SCMP_SYS(mprotect),
    SCMP_SYS(madvise),       SCMP_SYS(brk),
    SCMP_SYS(futex),         SCMP_SYS(membarrier),
    SCMP_SYS(rseq),          SCMP_SYS(set_robust_list),
    SCMP_SYS(sched_yield),   SCMP_SYS(sched_getaffinity),
    SCMP_SYS(sysinfo),       SCMP_SYS(sched_setaffinity),
    SCMP_SYS(getrandom),     SCMP_SYS(uname),
    SCMP_SYS(getpid),        SCMP_SYS(gettid),
    SCMP_SYS(getrusage),     SCMP_SYS(times),
    SCMP_SYS(clock_gettime), SCMP_SYS(clock_getres),
    SCMP_SYS(gettimeofday),  SCMP_SYS(time),
    SCMP_SYS(nanosleep),     SCMP_SYS(clock_nanosleep),
    SCMP_SYS(pause),         SCMP_SYS(restart_syscall),
    SCMP_SYS(rt_sigaction),  SCMP_SYS(rt_sigprocmask),
    SCMP_SYS(rt_sigreturn),  SCMP_SYS(sigaltstack),
    SCMP_SYS(exit),          SCMP_SYS(exit_group),
    SCMP_SYS(getuid),        SCMP_SYS(geteuid),
    SCMP_SYS(getgid),        SCMP_SYS(getegid),
};

class SystemCallFilter {
public:
    SystemCallFilter() : m_filter(::seccomp_init(SCMP_ACT_ERRNO(EPERM))) {
        for (const int call : allowedCalls)
            allow(call);
        constexpr auto writing = O_ACCMODE | O_CREAT | O_TRUNC | (O_TMPFILE & ~O_DIRECTORY);
        allow(SCMP_SYS(open), {1, SCMP_CMP_MASKED_EQ, writing, O_RDONLY});
        allow(SCMP_SYS(openat), {2, SCMP_CMP_MASKED_EQ, writing, O_RDONLY});
        // Threads, but no processes; the C library asks anew in a way that can be looked at.
        allow(SCMP_SYS(clone), {0, SCMP_CMP_MASKED_EQ, CLONE_THREAD, CLONE_THREAD});
        m_isWhole &= ::seccomp_rule_add_array(m_filter.get(), SCMP_ACT_ERRNO(ENOSYS), SCMP_SYS(clone3), 0,
                                              nullptr) == 0;
        // A library may end the process that it is in, and name its threads.
        allow(SCMP_SYS(tgkill), {0, SCMP_CMP_EQ, static_cast<scmp_datum_t>(::getpid()), 0});
        allow(SCMP_SYS(prctl), {0, SCMP_CMP_EQ, PR_SET_NAME, 0});
        // Limits are read, not set.
        allow(SCMP_SYS(prlimit64), {2, SCMP_CMP_EQ, 0, 0});
    }

    bool install() { return m_isWhole && ::seccomp_load(m_filter.get()) == 0; }

private:
    void allow(int call) {
        m_isWhole &= ::seccomp_rule_add_array(m_filter.get(), SCMP_ACT_ALLOW, call, 0, nullptr) == 0;
    }
    void allow(int call, const scmp_arg_cmp &condition) {
        m_isWhole &= ::seccomp_rule_add_array(m_filter.get(), SCMP_ACT_ALLOW, call, 1, &condition) == 0;
    }

    struct Release {
        void operator()(void *filter) const { ::seccomp_release(filter); }
    };
    std::unique_ptr<void, Release> m_filter;
    bool m_isWhole = m_filter != nullptr;
};

/// What each version of the kernel's interface knows is one right more; newer rights than these are not about
/// files that could be opened.
__u64 handledRights(long version) {
    constexpr __u64 firstVersion = LANDLOCK_ACCESS_FS_MAKE_SYM * 2 - 1;
    constexpr __u64 truncate = LANDLOCK_ACCESS_FS_REFER * 2; // newer than the headers
    return firstVersion | (version >= 2 ? LANDLOCK_ACCESS_FS_REFER : 0) | (version >= 3 ? truncate : 0);
}

void allowReading(int rules, const std::string &path) {
    const int file = ::open(path.c_str(), O_PATH | O_CLOEXEC);
    struct stat state{};
    if (file < 0)
        return;
    if (::fstat(file, &state) == 0) {
        landlock_path_beneath_attr rule{};
        rule.parent_fd = file;
        rule.allowed_access = LANDLOCK_ACCESS_FS_READ_FILE;
        if (S_ISDIR(state.st_mode))
            rule.allowed_access |= LANDLOCK_ACCESS_FS_READ_DIR;
        ::syscall(SYS_landlock_add_rule, rules, LANDLOCK_RULE_PATH_BENEATH, &rule, 0);
    }
    ::close(file);
}

/// A model's folder may hold links to files elsewhere.
void allowReadingLinks(int rules, const std::string &folder) {
    std::error_code error;
    for (const auto &entry : std::filesystem::directory_iterator(folder, error)) {
        if (entry.is_symlink(error))
            allowReading(rules, entry.path());
    }
}

bool confineFiles(const std::vector<std::string> &readable) {
    const long version = ::syscall(SYS_landlock_create_ruleset, nullptr, 0, LANDLOCK_CREATE_RULESET_VERSION);
    if (version < 1)
        return false;
    landlock_ruleset_attr attributes{};
    attributes.handled_access_fs = handledRights(version);
    const auto rules = static_cast<int>(
        ::syscall(SYS_landlock_create_ruleset, &attributes, sizeof attributes.handled_access_fs, 0));
    if (rules < 0)
        return false;
    for (const auto *folder : libraryFolders)
        allowReading(rules, folder);
    for (const auto &path : readable) {
        allowReading(rules, path);
        allowReadingLinks(rules, path);
    }
    const bool isConfined = ::syscall(SYS_landlock_restrict_self, rules, 0) == 0;
    ::close(rules);
    return isConfined;
}

} // namespace

std::uint32_t confine(const std::vector<std::string> &readable) {
    if (::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0)
        return 0;
    std::uint32_t protections = 0;
    if (confineFiles(readable))
        protections |= files;
    if (SystemCallFilter().install())
        protections |= systemCalls;
    return protections;
}

} // namespace quillora::recognizer
