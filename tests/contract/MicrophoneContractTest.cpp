#include "contract/MicrophoneContract.h"
#include "fakes/FakePlatform.h"
#include "platform/linux/LinuxMainQueue.h"
#include "platform/linux/sound/PulseMicrophone.h"
#include "support/SoundServer.h"

#include <QCoreApplication>
#include <QTest>

#include <atomic>
#include <future>

using namespace Qt::StringLiterals;
using namespace quillora;

namespace {

class FakeHarness : public test::MicrophoneHarness {
public:
    platform::Microphone &microphone() override { return m_platform.microphoneFake; }
    void lookForMicrophone() override {}
    void makeSound() override {
        m_platform.microphoneFake.speak({m_platform.microphoneFake.inputFormat, {1, 2, 3}});
    }
    void unplugMicrophone() override {
        m_platform.microphoneFake.inputFormat = {};
        m_platform.microphoneFake.startError = u"There is no microphone."_s;
        m_platform.microphoneFake.die(u"The microphone was disconnected."_s);
    }
    void turn() override { m_platform.run(); }

private:
    test::FakePlatform m_platform;
};

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

int main(int argc, char **argv) {
    QCoreApplication application(argc, argv);
    test::MicrophoneContract contract({{"fake", [] { return std::make_unique<FakeHarness>(); }},
                                       {"PulseMicrophone", [] { return std::make_unique<PulseHarness>(); }}});
    return QTest::qExec(&contract, argc, argv);
}
