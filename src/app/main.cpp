#include "app/QuilloraApp.h"
#include "platform/linux/LinuxPlatform.h"

int main(int argc, char *argv[]) {
    quillora::QuilloraApp application(argc, argv);
    return application.run([] { return std::make_unique<quillora::platform::LinuxPlatform>(); });
}
