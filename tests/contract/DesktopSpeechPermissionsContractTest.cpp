#include "contract/SpeechPermissionsContract.h"
#include "platform/linux/LinuxMainQueue.h"
#include "platform/linux/sound/DesktopSpeechPermissions.h"

using namespace quillora;

namespace {

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

} // namespace

class DesktopSpeechPermissionsContractTest : public test::SpeechPermissionsContract {
    Q_OBJECT

    std::unique_ptr<test::SpeechPermissionsHarness> makeHarness() override {
        return std::make_unique<DesktopHarness>();
    }

private Q_SLOTS:
    void anUnansweredQuestionIsLetGoAtTheEnd() {
        DesktopHarness harness;
        const auto witness = std::make_shared<int>();
        harness.permissions().requestMicrophone([witness](bool) {});
        harness.end();
        QCOMPARE(witness.use_count(), 1L);
    }
};

QTEST_GUILESS_MAIN(DesktopSpeechPermissionsContractTest)
#include "DesktopSpeechPermissionsContractTest.moc"
