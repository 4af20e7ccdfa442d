#include "platform/linux/instance/LaunchEnvironment.h"

#include <QFile>
#include <QString>

using namespace Qt::StringLiterals;

namespace quillora::platform {

namespace {

/// Where there is no session bus, the bus library would start one that outlives the program and that nobody
/// else is on.
void forgoMissingSessionBus() {
    const bool hasBus = qEnvironmentVariableIsSet("DBUS_SESSION_BUS_ADDRESS") ||
                        (qEnvironmentVariableIsSet("XDG_RUNTIME_DIR") &&
                         QFile::exists(qEnvironmentVariable("XDG_RUNTIME_DIR") + u"/bus"_s));
    if (!hasBus)
        qputenv("DBUS_SESSION_BUS_ADDRESS", "disabled:");
}

} // namespace

QByteArray readLaunchEnvironment() {
    forgoMissingSessionBus();
    // The toolkit would remove it at the first use, when threads run that may read the environment.
    qunsetenv("XDG_ACTIVATION_TOKEN");
    return qgetenv("DESKTOP_STARTUP_ID");
}

} // namespace quillora::platform
