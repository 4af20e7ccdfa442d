#include "platform/linux/sound/CaptureDrain.h"

#include <QTest>

#include <atomic>
#include <memory>
#include <thread>

using quillora::platform::CaptureDrain;
using namespace std::chrono_literals;

class CaptureDrainTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init() { m_drain = std::make_shared<CaptureDrain>(); }

    void aHandOverMayTakeTheSourcesLatencyAnd100MsBut500MsAtMost() {
        QCOMPARE(CaptureDrain::timeLimit(0us), 100ms);
        QCOMPARE(CaptureDrain::timeLimit(20ms), 120ms);
        QCOMPARE(CaptureDrain::timeLimit(20001us), 121ms);
        QCOMPARE(CaptureDrain::timeLimit(250ms), 350ms);
        QCOMPARE(CaptureDrain::timeLimit(400ms), 500ms);
        QCOMPARE(CaptureDrain::timeLimit(401ms), 500ms);
        QCOMPARE(CaptureDrain::timeLimit(24h), 500ms);
        QCOMPARE(CaptureDrain::timeLimit(std::chrono::microseconds::max()), 500ms);
    }

    void withNothingToHandOverTheActionRunsAtOnce() {
        bool hasRun = false;
        m_drain->whenDrained([&] { hasRun = true; });
        QVERIFY(hasRun);
    }

    void theActionWaitsForTheHandOver() {
        bool hasRun = false;
        auto hold = std::make_unique<CaptureDrain::Hold>(m_drain);
        m_drain->whenDrained([&] { hasRun = true; });
        QVERIFY(!hasRun);
        hold.reset();
        QVERIFY(hasRun);
    }

    void theActionWaitsForTheLastOfSeveralHandOvers() {
        bool hasRun = false;
        auto first = std::make_unique<CaptureDrain::Hold>(m_drain);
        auto second = std::make_unique<CaptureDrain::Hold>(m_drain);
        m_drain->whenDrained([&] { hasRun = true; });
        first.reset();
        QVERIFY(!hasRun);
        second.reset();
        QVERIFY(hasRun);
    }

    void actionsRunInTheirOrderAndOnce() {
        QList<int> runs;
        auto hold = std::make_unique<CaptureDrain::Hold>(m_drain);
        m_drain->whenDrained([&] { runs << 1; });
        m_drain->whenDrained([&] { runs << 2; });
        hold.reset();
        hold = std::make_unique<CaptureDrain::Hold>(m_drain);
        hold.reset();
        QCOMPARE(runs, (QList<int>{1, 2}));
    }

    void anActionMayUseTheDrainAgain() {
        bool hasRun = false;
        auto hold = std::make_unique<CaptureDrain::Hold>(m_drain);
        m_drain->whenDrained([&] { m_drain->whenDrained([&] { hasRun = true; }); });
        hold.reset();
        QVERIFY(hasRun);
    }

    void noActionRunsBeforeTheSoundOfAnotherThreadIsHandedOver() {
        for (int round = 0; round < 2000; ++round) {
            int handedOver = 0; // not atomic: the drain alone orders the two threads
            std::atomic<int> seen = -1;
            std::thread capture([&, hold = std::make_unique<CaptureDrain::Hold>(m_drain)]() mutable {
                handedOver = round;
                hold.reset();
            });
            m_drain->whenDrained([&] { seen = handedOver; });
            capture.join();
            QCOMPARE(seen.load(), round);
        }
    }

private:
    std::shared_ptr<CaptureDrain> m_drain;
};

QTEST_APPLESS_MAIN(CaptureDrainTest)
#include "CaptureDrainTest.moc"
