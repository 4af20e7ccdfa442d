#include "contract/MainQueueContract.h"
#include "fakes/FakeMainQueue.h"

#include <QCoreApplication>
#include <QTest>

namespace {

class FakeMainQueueHarness : public quillora::test::MainQueueHarness {
public:
    quillora::platform::MainQueue &queue() override { return m_queue; }
    void pass(std::chrono::milliseconds time) override { m_queue.advance(time); }
    std::chrono::nanoseconds now() override { return m_queue.now(); }

private:
    quillora::test::FakeMainQueue m_queue;
};

} // namespace

int main(int argc, char **argv) {
    QCoreApplication application(argc, argv);
    quillora::test::MainQueueContract contract([] { return std::make_unique<FakeMainQueueHarness>(); });
    return QTest::qExec(&contract, argc, argv);
}
