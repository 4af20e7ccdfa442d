#include "contract/MicrophoneContract.h"
#include "platform/linux/LinuxMainQueue.h"
#include "platform/linux/sound/PulseMicrophone.h"
#include "support/SoundServer.h"

#include <atomic>
#include <future>

using namespace quillora;

namespace {

class PulseHarness : public test::MicrophoneHarness {
public:
    platform::Microphone &microphone() override { return m_microphone; }
    void lookForMicrophone() override {
        std::promise<void> refreshed;
        m_connection->refresh([&] { refreshed.set_value(); });
        refreshed.get_future().wait();
    }
    /// The microphone runs all the time; another recording tells when it has recorded something.
    void makeSound() override {
        const auto buffers = std::make_shared<std::atomic<int>>(0);
        const auto witness =
            m_microphone.capture(256, [buffers](const auto &) { ++*buffers; }, [](const auto &) {});
        test::ChildProcess::waitUntil([&] { return *buffers > 8; });
    }
    void unplugMicrophone() override { m_server.unplugMicrophone(); }
    void turn() override {} // the test's own event loop turns

private:
    test::SoundServer m_server;
    platform::LinuxMainQueue m_queue;
    std::shared_ptr<platform::PulseConnection> m_connection =
        std::make_shared<platform::PulseConnection>(m_server.address());
    platform::PulseMicrophone m_microphone{m_connection, m_queue};
};

} // namespace

class PulseMicrophoneContractTest : public test::MicrophoneContract {
    Q_OBJECT

    std::unique_ptr<test::MicrophoneHarness> makeHarness() override {
        return std::make_unique<PulseHarness>();
    }
};

QTEST_GUILESS_MAIN(PulseMicrophoneContractTest)
#include "PulseMicrophoneContractTest.moc"
