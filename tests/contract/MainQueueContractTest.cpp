#include "contract/MainQueueContract.h"
#include "fakes/FakeMainQueue.h"
#include "platform/linux/LinuxMainQueue.h"

#include <QCoreApplication>
#include <QTest>

using namespace quillora;
using namespace std::chrono_literals;

namespace {

class FakeHarness : public test::MainQueueHarness {
public:
    platform::MainQueue &queue() override { return m_queue; }
    void pass(std::chrono::milliseconds time) override { m_queue.advance(time); }
    std::chrono::nanoseconds now() override { return m_queue.now(); }

private:
    test::FakeMainQueue m_queue;
};

class LinuxMainQueueHarness : public test::MainQueueHarness {
public:
    platform::MainQueue &queue() override { return m_queue; }

    /// In steps that each take a turn of the event loop: the time to do something may be spent waiting for a
    /// processor.
    void pass(std::chrono::milliseconds time) override {
        for (auto passed = 0ms; passed <= time; ++passed)
            QTest::qWait(1);
    }

    std::chrono::nanoseconds now() override { return std::chrono::steady_clock::now().time_since_epoch(); }

private:
    platform::LinuxMainQueue m_queue;
};

} // namespace

int main(int argc, char **argv) {
    QCoreApplication application(argc, argv);
    test::MainQueueContract contract(
        {{"fake", [] { return std::make_unique<FakeHarness>(); }},
         {"LinuxMainQueue", [] { return std::make_unique<LinuxMainQueueHarness>(); }}});
    return QTest::qExec(&contract, argc, argv);
}
