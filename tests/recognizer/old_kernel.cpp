#include <cerrno>
#include <initializer_list>
#include <seccomp.h>
#include <sys/prctl.h>
#include <unistd.h>

/// Stands for the recognizer on a kernel that cannot confine processes: becomes the program that is built
/// beside it, for which the calls for that do not exist.
int main(int, char **arguments) {
    ::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0);
    auto *const filter = ::seccomp_init(SCMP_ACT_ALLOW);
    for (const int call : {SCMP_SYS(landlock_create_ruleset), SCMP_SYS(seccomp)})
        ::seccomp_rule_add_array(filter, SCMP_ACT_ERRNO(ENOSYS), call, 0, nullptr);
    const scmp_arg_cmp isFilter{0, SCMP_CMP_EQ, PR_SET_SECCOMP, 0};
    ::seccomp_rule_add_array(filter, SCMP_ACT_ERRNO(EINVAL), SCMP_SYS(prctl), 1, &isFilter);
    if (::seccomp_load(filter) == 0)
        ::execv(QUILLORA_FAKE_RECOGNIZER, arguments);
    return 1;
}
