#include "app/QuilloraApp.h"
#include "platform/linux/CoreDump.h"
#include "platform/linux/FreedMemory.h"
#include "platform/linux/LinuxPlatform.h"
#include "platform/linux/instance/LaunchEnvironment.h"
#include "platform/linux/instance/SessionInstance.h"

int main(int argc, char *argv[]) {
    using namespace quillora;
    platform::forgoCoreDumps();
    platform::giveFreedMemoryBack();
    const QByteArray startupId = platform::readLaunchEnvironment();
    QuilloraApp application(argc, argv);
    platform::SessionInstance instance(startupId);
    return application.run(instance, [] { return std::make_unique<platform::LinuxPlatform>(); });
}
