#include "platform/linux/sound/DesktopSpeechPermissions.h"
#include "platform/linux/LinuxMainQueue.h"

#include <QTest>

#include <memory>
#include <optional>

using namespace quillora::platform;

/// No sound server is needed for an answer.
class DesktopSpeechPermissionsTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void anUnansweredQuestionIsLetGoAtTheEnd() {
        LinuxMainQueue queue;
        std::optional<DesktopSpeechPermissions> permissions(
            std::in_place, std::make_shared<PulseConnection>("unix:/nonexistent"), queue);
        const auto witness = std::make_shared<int>();
        permissions->requestMicrophone([witness](bool) {});
        permissions.reset();
        QCOMPARE(witness.use_count(), 1L);
    }
};

QTEST_GUILESS_MAIN(DesktopSpeechPermissionsTest)
#include "DesktopSpeechPermissionsTest.moc"
