#include "platform/linux/sound/SoundProbe.h"

#include <QTest>

#include <array>
#include <memory>
#include <thread>

using namespace quillora;
using test::SoundProbe;

/// The sound thread and the main thread with a live server between them, in quick succession. What is wrong
/// here shows under the thread sanitizer. The server is that of PULSE_SERVER.
class PulseThreadsTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { QVERIFY(qEnvironmentVariableIsSet("PULSE_SERVER")); }

    void recordingsFollowOneAnother() {
        SoundProbe probe({});
        for (int round = 0; round < 10; ++round) {
            probe.record(2048);
            probe.stop();
            QVERIFY(probe.waitForEnd());
            QVERIFY(probe.frames() >= 2048);
        }
    }

    void severalThreadsAskWhileSoundIsRecorded() {
        SoundProbe probe({});
        probe.record(1);
        std::array<std::atomic<bool>, 4> isAnswered{};
        std::array<std::thread, 4> threads;
        for (size_t i = 0; i < threads.size(); ++i)
            threads[i] = std::thread([&probe, &answer = isAnswered[i]] {
                probe.connection->refresh([&answer] { answer = true; });
                while (!answer)
                    probe.connection->inputFormat();
            });
        for (auto &thread : threads)
            thread.join();
        probe.stop();
        QVERIFY(probe.waitForEnd());
        QVERIFY(probe.frames() > 0);
    }

    void aConnectionClosesAtAnyMoment() {
        for (const qsizetype frames : {1, 1000, 5000}) {
            auto probe = std::make_unique<SoundProbe>(std::string());
            probe->record(frames);
            const auto heard = probe->heard;
            probe->stop();
            probe.reset();
            QTRY_VERIFY(heard->hasEnded);
        }
    }

    void aCaptureIsDroppedWhileItRecords() {
        for (int round = 0; round < 5; ++round) {
            SoundProbe probe({});
            probe.record(1000);
        }
    }
};

QTEST_GUILESS_MAIN(PulseThreadsTest)
#include "PulseThreadsTest.moc"
