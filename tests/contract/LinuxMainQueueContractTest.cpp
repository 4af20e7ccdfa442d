#include "contract/MainQueueContract.h"
#include "platform/linux/LinuxMainQueue.h"

#include <QCoreApplication>
#include <QTest>

namespace {

class LinuxMainQueueHarness : public quillora::test::MainQueueHarness {
public:
    quillora::platform::MainQueue &queue() override { return m_queue; }

    void pass(std::chrono::milliseconds time) override { QTest::qWait(static_cast<int>(time.count())); }

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
