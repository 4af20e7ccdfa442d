#include "contract/MainQueueContract.h"
#include "platform/linux/LinuxMainQueue.h"

#include <QCoreApplication>
#include <QTest>

namespace {

using namespace std::chrono_literals;

class LinuxMainQueueHarness : public quillora::test::MainQueueHarness {
public:
    quillora::platform::MainQueue &queue() override { return m_queue; }

    /// In steps that each take a turn of the event loop: the time to do something may be spent waiting for a
    /// processor.
    void pass(std::chrono::milliseconds time) override {
        for (auto passed = 0ms; passed <= time; ++passed)
            QTest::qWait(1);
    }

    std::chrono::nanoseconds now() override { return std::chrono::steady_clock::now().time_since_epoch(); }

private:
    quillora::platform::LinuxMainQueue m_queue;
};

} // namespace

int main(int argc, char **argv) {
    QCoreApplication application(argc, argv);
    quillora::test::MainQueueContract contract([] { return std::make_unique<LinuxMainQueueHarness>(); });
    return QTest::qExec(&contract, argc, argv);
}
