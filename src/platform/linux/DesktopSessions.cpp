#include "platform/linux/DesktopSessions.h"

#include "platform/linux/plain/PlainSession.h"
#include "platform/linux/x11/X11Session.h"

#include <QByteArray>

#include <algorithm>
#include <cerrno>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace quillora::platform {

namespace {

/// Where the environment says that a compositor listens; empty if it does not say.
QByteArray compositorPath() {
    QByteArray name = qgetenv("WAYLAND_DISPLAY");
    if (name.isEmpty() || name.startsWith('/'))
        return name;
    return qgetenv("XDG_RUNTIME_DIR") + '/' + name;
}

/// The environment may speak of a compositor that has gone, so it is called.
bool isCompositorThere() {
    const QByteArray path = compositorPath();
    sockaddr_un address{};
    if (path.isEmpty() || path.size() >= static_cast<qsizetype>(sizeof address.sun_path))
        return false;
    address.sun_family = AF_UNIX;
    std::ranges::copy(path, address.sun_path);
    const int socket = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (socket < 0)
        return false;
    const bool answers =
        ::connect(socket, reinterpret_cast<const sockaddr *>(&address), sizeof address) == 0 ||
        errno == EAGAIN; // one that is busy has others waiting
    ::close(socket);
    return answers;
}

} // namespace

std::unique_ptr<DesktopSession> openDesktopSession(const std::function<void()> &lost) {
    if (isCompositorThere())
        return std::make_unique<PlainSession>();
    return std::make_unique<X11Session>(lost);
}

} // namespace quillora::platform
