#include "contract/AudioEngineContract.h"
#include "platform/linux/sound/PulseAudioEngine.h"
#include "support/SoundServer.h"

#include <atomic>
#include <future>

using namespace quillora;

namespace {

class PulseHarness : public test::AudioEngineHarness {
public:
    std::unique_ptr<platform::AudioEngine> makeEngine() override {
        std::promise<void> refreshed;
        m_connection->refresh([&] { refreshed.set_value(); });
        refreshed.get_future().wait();
        return std::make_unique<platform::PulseAudioEngine>(m_connection);
    }
    /// The microphone runs all the time; another recording tells when it has recorded something.
    void makeSound() override {
        platform::PulseAudioEngine witness(m_connection);
        std::atomic<int> buffers = 0;
        witness.inputNode().installTap(0, 256, witness.inputNode().outputFormat(0),
                                       [&](const auto &) { ++buffers; });
        witness.start();
        test::ChildProcess::waitUntil([&] { return buffers > 8; });
        witness.inputNode().removeTap(0);
    }
    void unplugMicrophone() override { m_server.unplugMicrophone(); }

private:
    test::SoundServer m_server;
    std::shared_ptr<platform::PulseConnection> m_connection =
        std::make_shared<platform::PulseConnection>(m_server.address());
};

} // namespace

class PulseAudioEngineContractTest : public test::AudioEngineContract {
    Q_OBJECT

    std::unique_ptr<test::AudioEngineHarness> makeHarness() override {
        return std::make_unique<PulseHarness>();
    }
};

QTEST_GUILESS_MAIN(PulseAudioEngineContractTest)
#include "PulseAudioEngineContractTest.moc"
