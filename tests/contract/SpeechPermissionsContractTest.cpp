#include "contract/SpeechPermissionsContract.h"
#include "fakes/FakePlatform.h"
#include "platform/linux/LinuxMainQueue.h"
#include "platform/linux/sound/DesktopSpeechPermissions.h"
#include "support/TestSuites.h"

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
    platform::SpeechPermissions &permissions() override { return *m_permissions; }
    void turn() override {} // the test's own event loop turns
    void end() { m_permissions.reset(); }

private:
    platform::LinuxMainQueue m_queue;
    std::unique_ptr<platform::DesktopSpeechPermissions> m_permissions =
        std::make_unique<platform::DesktopSpeechPermissions>(
            std::make_shared<platform::PulseConnection>("unix:/nonexistent"), m_queue);
};

/// What only this one is asked.
class DesktopSpeechPermissionsTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void anUnansweredQuestionIsLetGoAtTheEnd() {
        DesktopHarness harness;
        const auto witness = std::make_shared<int>();
        harness.permissions().requestMicrophone([witness](bool) {});
        harness.end();
        QCOMPARE(witness.use_count(), 1L);
    }
};

} // namespace

int main(int argc, char **argv) {
    QCoreApplication application(argc, argv);
    test::SpeechPermissionsContract contract(
        {{"fake", [] { return std::make_unique<FakeHarness>(); }},
         {"DesktopSpeechPermissions", [] { return std::make_unique<DesktopHarness>(); }}});
    DesktopSpeechPermissionsTest own;
    return test::TestSuites({&contract, &own}).run(argc, argv);
}
#include "SpeechPermissionsContractTest.moc"
