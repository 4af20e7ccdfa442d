#pragma once

#include "contract/Subjects.h"
#include "platform/LocalizedError.h"
#include "platform/Microphone.h"
#include "support/ChildProcess.h"

#include <QTest>
#include <QThread>

#include <memory>
#include <mutex>
#include <vector>

namespace quillora::test {

/// The world around one implementation of Microphone.
class MicrophoneHarness {
public:
    virtual ~MicrophoneHarness() = default;

    virtual platform::Microphone &microphone() = 0;

    /// Finds out which microphone there is, as the question for permission does.
    virtual void lookForMicrophone() = 0;

    /// Lets some sound come in at the microphone.
    virtual void makeSound() = 0;

    virtual void unplugMicrophone() = 0;

    /// Lets the main queue do what was posted to it.
    virtual void turn() = 0;
};

/// What every Microphone does.
class MicrophoneContract : public QObject {
    Q_OBJECT

public:
    explicit MicrophoneContract(Subjects<MicrophoneHarness> subjects) : m_subjects(std::move(subjects)) {}

private Q_SLOTS:
    void initTestCase_data() { m_subjects.announce(); }
    void init() {
        m_harness = m_subjects.harness();
        m_harness->lookForMicrophone();
    }
    void cleanup() {
        m_capture.reset();
        m_harness.reset();
    }

    void theMicrophoneHasAFormat() {
        const auto format = microphone().format();
        QVERIFY(format.channelCount > 0);
        QVERIFY(format.sampleRate > 0);
    }

    void soundComesInTheMicrophonesFormatAndInBuffersOfTheSizeThatWasAskedFor() {
        record();
        QVERIFY(hears());
        const std::lock_guard lock(m_heard->mutex);
        for (const auto &buffer : m_heard->buffers) {
            QCOMPARE(buffer.format, microphone().format());
            QVERIFY(buffer.frameCount() > 0);
            QVERIFY(buffer.frameCount() <= bufferFrames);
        }
    }

    void nothingIsHeardOfWhatComesAfterTheEnd() {
        record();
        QVERIFY(hears());
        m_capture.reset();
        m_harness->makeSound(); // by then all has arrived that came before the end
        const auto before = heardBuffers();
        m_harness->makeSound();
        QCOMPARE(heardBuffers(), before);
    }

    void itRecordsAgainAfterAnEnd() {
        record();
        m_capture.reset();
        record();
        QVERIFY(hears());
    }

    void aCaptureOfAMicrophoneThatIsUnpluggedDiesOnceAndTheMainThreadIsTold() {
        record();
        QVERIFY(hears());
        m_harness->unplugMicrophone();
        QVERIFY(dies());
        m_harness->turn();
        QCOMPARE(m_heard->deaths.size(), 1);
        QVERIFY(m_heard->deaths.front().endsWith(u'.'));
        QCOMPARE(m_heard->toldOn, QThread::currentThread());
    }

    void aCaptureThatHasEndedDoesNotDie() {
        record();
        const auto ended = std::exchange(m_heard, nullptr);
        auto capture = std::exchange(m_capture, nullptr);
        record();
        capture.reset();
        m_harness->unplugMicrophone();
        QVERIFY(dies());
        QCOMPARE(ended->deaths, QStringList());
    }

    void withoutAMicrophoneThereAreNoChannels() {
        m_harness->unplugMicrophone();
        m_harness->lookForMicrophone();
        QCOMPARE(microphone().format().channelCount, 0U);
    }

    void withoutAMicrophoneNothingCanBeRecorded() {
        m_harness->unplugMicrophone();
        m_harness->lookForMicrophone();
        QVERIFY_THROWS_EXCEPTION(LocalizedError, record());
    }

private:
    static constexpr quint32 bufferFrames = 1024;

    struct Heard {
        std::mutex mutex;
        std::vector<platform::AudioBuffer> buffers;
        // Of the main thread.
        QStringList deaths;
        QThread *toldOn = nullptr;
    };

    platform::Microphone &microphone() { return m_harness->microphone(); }
    void record() {
        m_heard = std::make_shared<Heard>();
        m_capture = microphone().capture(
            bufferFrames,
            [heard = m_heard](platform::AudioBuffer buffer) {
                const std::lock_guard lock(heard->mutex);
                heard->buffers.push_back(std::move(buffer));
            },
            [heard = m_heard](const QString &reason) {
                heard->deaths += reason;
                heard->toldOn = QThread::currentThread();
            });
    }
    size_t heardBuffers() const {
        const std::lock_guard lock(m_heard->mutex);
        return m_heard->buffers.size();
    }
    bool dies() {
        return ChildProcess::waitUntil(
            [this] {
                m_harness->turn();
                return !m_heard->deaths.isEmpty();
            },
            30000);
    }
    bool hears() {
        const auto before = heardBuffers();
        m_harness->makeSound();
        return ChildProcess::waitUntil([&] { return heardBuffers() > before; });
    }

    Subjects<MicrophoneHarness> m_subjects;
    std::unique_ptr<MicrophoneHarness> m_harness;
    std::unique_ptr<platform::Capture> m_capture;
    std::shared_ptr<Heard> m_heard;
};

} // namespace quillora::test
