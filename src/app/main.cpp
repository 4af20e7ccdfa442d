#include "app/QuilloraApp.h"
#include "platform/linux/CoreDump.h"
#include "platform/linux/LinuxPlatform.h"
#include "platform/linux/x11/X11StartupNotification.h"

int main(int argc, char *argv[]) {
    using namespace quillora;
    platform::forgoCoreDumps();
    QuilloraApp application(argc, argv);
    return application.run([] { return std::make_unique<platform::LinuxPlatform>(); },
                           platform::endStartupNotification);
}
