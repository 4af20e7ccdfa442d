#pragma once

#include "platform/AudioEngine.h"
#include "platform/LocalizedError.h"
#include "support/ChildProcess.h"

#include <QTest>

#include <memory>
#include <mutex>
#include <vector>

namespace quillora::test {

/// The world around one implementation of AudioEngine.
class AudioEngineHarness {
public:
    virtual ~AudioEngineHarness() = default;

    /// An engine whose microphone has been looked for.
    virtual std::unique_ptr<platform::AudioEngine> makeEngine() = 0;

    /// Lets some sound come in at the microphone.
    virtual void makeSound() = 0;

    virtual void unplugMicrophone() = 0;
};

/// What every AudioEngine does.
class AudioEngineContract : public QObject {
    Q_OBJECT

protected:
    virtual std::unique_ptr<AudioEngineHarness> makeHarness() = 0;

private Q_SLOTS:
    void init() {
        m_harness = makeHarness();
        m_engine = m_harness->makeEngine();
        m_heard = std::make_shared<Heard>();
    }
    void cleanup() {
        m_engine.reset();
        m_harness.reset();
    }

    void aNewEngineDoesNotRun() { QVERIFY(!m_engine->isRunning()); }

    void theMicrophoneHasAFormat() {
        const auto format = m_engine->inputNode().outputFormat(0);
        QVERIFY(format.channelCount > 0);
        QVERIFY(format.sampleRate > 0);
    }

    void itRunsFromTheStartToTheStop() {
        m_engine->prepare();
        m_engine->start();
        QVERIFY(m_engine->isRunning());
        m_engine->stop();
        QVERIFY(!m_engine->isRunning());
    }

    void soundReachesTheTapInTheFormatThatWasAskedFor() {
        record();
        QVERIFY(hears());
        const std::lock_guard lock(m_heard->mutex);
        for (const auto &buffer : m_heard->buffers) {
            QCOMPARE(buffer.format, m_engine->inputNode().outputFormat(0));
            QVERIFY(buffer.frameCount() > 0);
            QVERIFY(buffer.frameCount() <= tapFrames);
        }
    }

    void aRemovedTapHearsNothingMore() {
        record();
        QVERIFY(hears());
        m_engine->inputNode().removeTap(0);
        const auto before = heardBuffers();
        m_harness->makeSound();
        QCOMPARE(heardBuffers(), before);
    }

    void aTapInstalledWhileRunningHears() {
        m_engine->start();
        installTap();
        QVERIFY(hears());
    }

    void removingATapThatIsNotThereIsHarmless() {
        m_engine->inputNode().removeTap(0);
        m_engine->inputNode().removeTap(0);
        record();
        QVERIFY(hears());
    }

    void stoppingTwiceIsHarmless() {
        record();
        m_engine->stop();
        m_engine->stop();
        QVERIFY(!m_engine->isRunning());
    }

    void whatComesAfterTheStopIsNotHeard() {
        record();
        QVERIFY(hears());
        m_engine->stop();
        m_harness->makeSound(); // by then all has arrived that came before the stop
        const auto before = heardBuffers();
        m_harness->makeSound();
        QCOMPARE(heardBuffers(), before);
    }

    void itRecordsAgainAfterAStop() {
        record();
        m_engine->stop();
        m_engine->inputNode().removeTap(0);
        m_heard = std::make_shared<Heard>();
        record();
        QVERIFY(hears());
    }

    void startingTwiceIsHarmless() {
        record();
        m_engine->start();
        QVERIFY(m_engine->isRunning());
        QVERIFY(hears());
    }

    void withoutAMicrophoneThereAreNoChannels() {
        m_harness->unplugMicrophone();
        const auto engine = m_harness->makeEngine();
        QCOMPARE(engine->inputNode().outputFormat(0).channelCount, 0U);
    }

    void aStartThatFailsLeavesItStopped() {
        m_harness->unplugMicrophone();
        const auto engine = m_harness->makeEngine();
        QVERIFY_THROWS_EXCEPTION(LocalizedError, engine->start());
        QVERIFY(!engine->isRunning());
    }

private:
    static constexpr quint32 tapFrames = 1024;

    struct Heard {
        std::mutex mutex;
        std::vector<platform::AudioBuffer> buffers;
    };

    void installTap() {
        auto &node = m_engine->inputNode();
        node.installTap(0, tapFrames, node.outputFormat(0), [heard = m_heard](const auto &buffer) {
            const std::lock_guard lock(heard->mutex);
            heard->buffers.push_back(buffer);
        });
    }
    void record() {
        installTap();
        m_engine->start();
    }
    size_t heardBuffers() const {
        const std::lock_guard lock(m_heard->mutex);
        return m_heard->buffers.size();
    }
    bool hears() {
        const auto before = heardBuffers();
        m_harness->makeSound();
        return ChildProcess::waitUntil([&] { return heardBuffers() > before; });
    }

    std::unique_ptr<AudioEngineHarness> m_harness;
    std::unique_ptr<platform::AudioEngine> m_engine;
    std::shared_ptr<Heard> m_heard;
};

} // namespace quillora::test
