// Installs a model of a catalog and ends: install_model FOLDER CATALOG ID [--die-at MOMENT] [--clock-jumps].
// It counts what it changes on the disk below the folder. Each change has two moments to die at, its begin
// and its end (of something that is written, the middle), as whoever is killed by the system dies. Prints how
// many changes there were, or why the model could not be had.

#include "platform/linux/LinuxMainQueue.h"
#include "platform/linux/models/LinuxModelStore.h"
#include "support/Files.h"

#include <QCoreApplication>
#include <QFileInfo>

#include <atomic>
#include <csignal>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <string>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

std::string folder;
std::atomic<int> changeCount = 0;
int momentOfDeath = -1;
bool doClocksJump = false;

bool isBelow(const char *path) {
    return !folder.empty() && std::strncmp(path, folder.c_str(), folder.size()) == 0;
}

bool isBelow(int descriptor) {
    char path[4096] = {};
    const std::string link = "/proc/self/fd/" + std::to_string(descriptor);
    return ::readlink(link.c_str(), path, sizeof path - 1) > 0 && isBelow(path);
}

void dieIfItIsTime(int moment) {
    if (moment == momentOfDeath)
        ::kill(::getpid(), SIGKILL);
}

/// Makes a system call that may change the disk.
template <typename Target, typename... Arguments>
long change(Target target, long number, Arguments... arguments) {
    if (!isBelow(target))
        return ::syscall(number, arguments...);
    const int moment = 2 * changeCount++;
    dieIfItIsTime(moment);
    const long result = ::syscall(number, arguments...);
    dieIfItIsTime(moment + 1);
    return result;
}

/// What the clock on the wall says, which is ten hours later every other time.
void jump(time_t &seconds) {
    static std::atomic<int> count = 0;
    if (doClocksJump && ++count % 2 == 0)
        seconds += 36000;
}

} // namespace

// These stand before the system's own, for the toolkit's libraries too.
extern "C" {

int open64(const char *path, int flags, ...) {
    va_list rest;
    va_start(rest, flags);
    const auto mode = va_arg(rest, mode_t);
    va_end(rest);
    if ((flags & O_ACCMODE) == O_RDONLY)
        return static_cast<int>(::syscall(SYS_openat, AT_FDCWD, path, flags, mode));
    return static_cast<int>(change(path, SYS_openat, AT_FDCWD, path, flags, mode));
}
ssize_t write(int descriptor, const void *bytes, std::size_t size) {
    if (!isBelow(descriptor))
        return ::syscall(SYS_write, descriptor, bytes, size);
    const int moment = 2 * changeCount++;
    dieIfItIsTime(moment);
    if (moment + 1 == momentOfDeath) {
        ::syscall(SYS_write, descriptor, bytes, size / 2);
        dieIfItIsTime(moment + 1);
    }
    return ::syscall(SYS_write, descriptor, bytes, size);
}
int fsync(int descriptor) { return static_cast<int>(change(descriptor, SYS_fsync, descriptor)); }
int ftruncate64(int descriptor, off64_t size) noexcept {
    return static_cast<int>(change(descriptor, SYS_ftruncate, descriptor, size));
}
int mkdir(const char *path, mode_t mode) noexcept {
    return static_cast<int>(change(path, SYS_mkdir, path, mode));
}
int rmdir(const char *path) noexcept { return static_cast<int>(change(path, SYS_rmdir, path)); }
int unlink(const char *path) noexcept { return static_cast<int>(change(path, SYS_unlink, path)); }
int link(const char *from, const char *to) noexcept {
    return static_cast<int>(change(to, SYS_link, from, to));
}
int rename(const char *from, const char *to) noexcept {
    return static_cast<int>(change(to, SYS_rename, from, to));
}
int renameat2(int fromFolder, const char *from, int toFolder, const char *to, unsigned flags) noexcept {
    return static_cast<int>(change(to, SYS_renameat2, fromFolder, from, toFolder, to, flags));
}
int clock_gettime(clockid_t clock, timespec *time) noexcept {
    const long result = ::syscall(SYS_clock_gettime, clock, time);
    if (clock == CLOCK_REALTIME)
        jump(time->tv_sec);
    return static_cast<int>(result);
}
int gettimeofday(timeval *time, void *zone) noexcept {
    const long result = ::syscall(SYS_gettimeofday, time, zone);
    jump(time->tv_sec);
    return static_cast<int>(result);
}
}

int main(int argc, char **argv) {
    using namespace quillora::platform;
    QCoreApplication application(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    const QString root = arguments[1], catalog = arguments[2], id = arguments[3];
    if (const auto at = arguments.indexOf(u"--die-at"_s); at > 0)
        momentOfDeath = arguments[at + 1].toInt();
    doClocksJump = arguments.contains(u"--clock-jumps"_s);
    folder = root.toStdString();

    LinuxMainQueue queue;
    LinuxModelStore store(queue,
                          {.folders = {root, {}},
                           .catalog = {{{catalog, quillora::test::readFile(catalog)}}, {u"any"_s}},
                           .patience = {.firstPause = std::chrono::milliseconds(1), .mostFailures = 1}});
    const QString version = store.models().first().version;
    QString problem;
    store.addObserver([&](const QString &) {
        const ModelState state = store.state(id);
        problem = state.problem;
        const bool isThere = state.version == version && !QFileInfo::exists(root + u'/' + id + u"/1"_s);
        if (isThere || !problem.isEmpty())
            QCoreApplication::quit();
    });
    store.install(id);
    QCoreApplication::exec();
    if (problem.isEmpty())
        std::printf("%d\n", changeCount.load());
    else
        std::printf("%s\n", qPrintable(problem));
    return problem.isEmpty() ? 0 : 1;
}
