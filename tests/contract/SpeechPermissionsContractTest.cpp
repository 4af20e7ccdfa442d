#include "contract/SpeechPermissionsContract.h"
#include "fakes/FakePlatform.h"
#include "platform/linux/LinuxMainQueue.h"
#include "platform/linux/sound/DesktopSpeechPermissions.h"

#include <QCoreApplication>
#include <QTest>

using namespace quillora;

namespace {

class FakeHarness : public test::SpeechPermissionsHarness {
public:
    platform::SpeechPermissions &permissions() override { return m_platform.permissions; }
    void turn() override { m_platform.run(); }

private:
    test::FakePlatform m_platform;
};

/// No sound server is needed for an answer.
class DesktopHarness : public test::SpeechPermissionsHarness {
public:
    platform::SpeechPermissions &permissions() override { return m_permissions; }
    void turn() override {} // the test's own event loop turns

private:
    platform::LinuxMainQueue m_queue;
    platform::DesktopSpeechPermissions m_permissions{
        std::make_shared<platform::PulseConnection>("unix:/nonexistent"), m_queue};
};

} // namespace

int main(int argc, char **argv) {
    QCoreApplication application(argc, argv);
    test::SpeechPermissionsContract contract(
        {{"fake", [] { return std::make_unique<FakeHarness>(); }},
         {"DesktopSpeechPermissions", [] { return std::make_unique<DesktopHarness>(); }}});
    return QTest::qExec(&contract, argc, argv);
}
