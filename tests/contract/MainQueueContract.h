#pragma once

#include "contract/Subjects.h"
#include "platform/MainQueue.h"

#include <QTest>
#include <QThread>

#include <chrono>
#include <memory>
#include <thread>
#include <vector>

namespace quillora::test {

using namespace std::chrono_literals;

/// A main queue, and the passing of its time.
class MainQueueHarness {
public:
    virtual ~MainQueueHarness() = default;

    virtual platform::MainQueue &queue() = 0;

    /// Runs everything that is due within `time` from now, and returns after it.
    virtual void pass(std::chrono::milliseconds time) = 0;

    /// Time since some fixed moment, by the clock the queue keeps.
    virtual std::chrono::nanoseconds now() = 0;
};

/// What every main queue keeps to.
class MainQueueContract : public QObject {
    Q_OBJECT

public:
    explicit MainQueueContract(Subjects<MainQueueHarness> subjects) : m_subjects(std::move(subjects)) {}

private Q_SLOTS:
    void initTestCase_data() { m_subjects.announce(); }
    void init() { m_harness = m_subjects.harness(); }

    void cleanup() { m_harness.reset(); }

    void asyncWorkRunsAfterTheCallThatHandedItOver() {
        bool ran = false;
        queue().async([&] { ran = true; });
        QVERIFY(!ran);
        m_harness->pass(aMoment);
        QVERIFY(ran);
    }

    void asyncWorkRunsInTheOrderOfTheCalls() {
        std::vector<int> order;
        for (int i = 0; i < 5; ++i)
            queue().async([&order, i] { order.push_back(i); });
        m_harness->pass(aMoment);
        QCOMPARE(order, (std::vector<int>{0, 1, 2, 3, 4}));
    }

    void workThatAsyncWorkHandsOverRunsAfterWhatWaitedAlready() {
        std::vector<int> order;
        queue().async([&] {
            queue().async([&] { order.push_back(3); });
            order.push_back(1);
        });
        queue().async([&] { order.push_back(2); });
        m_harness->pass(aMoment);
        QCOMPARE(order, (std::vector<int>{1, 2, 3}));
    }

    void workOfAnotherThreadRunsOnTheMainThread() {
        QThread *ranOn = nullptr;
        std::thread other([&] { queue().async([&] { ranOn = QThread::currentThread(); }); });
        other.join();
        m_harness->pass(aMoment);
        QCOMPARE(ranOn, QThread::currentThread());
    }

    void workOfOneOtherThreadKeepsItsOrder() {
        constexpr int count = 1000;
        std::vector<int> order;
        std::thread other([&] {
            for (int i = 0; i < count; ++i)
                queue().async([&order, i] { order.push_back(i); });
        });
        other.join();
        m_harness->pass(aMoment);
        QCOMPARE(order.size(), size_t{count});
        QVERIFY(std::is_sorted(order.begin(), order.end()));
    }

    void asyncWorkIsLetGoOnceItHasRun() {
        auto captured = std::make_shared<int>(0);
        const std::weak_ptr<int> alive = captured;
        queue().async([captured = std::move(captured)] {});
        QVERIFY(!alive.expired());
        m_harness->pass(aMoment);
        QVERIFY(alive.expired());
    }

    void delayedWorkRunsOnceAndNotBeforeItsDelay_data() {
        QTest::addColumn<int>("milliseconds");
        QTest::newRow("before the chord") << 150;
        QTest::newRow("before the clipboard is restored") << 800;
        QTest::newRow("before the recognizer is given up") << 1500;
    }

    void delayedWorkRunsOnceAndNotBeforeItsDelay() {
        QFETCH(const int, milliseconds);
        const std::chrono::milliseconds delay(milliseconds);
        int runs = 0;
        std::chrono::nanoseconds ranAt{};
        const auto scheduledAt = m_harness->now();
        queue().asyncAfter(delay, [&] {
            ++runs;
            ranAt = m_harness->now();
        });
        m_harness->pass(delay + 100ms);
        QCOMPARE(runs, 1);
        QVERIFY(ranAt - scheduledAt >= delay);
    }

    void delayedWorkOfNoDelayRunsAfterTheCallThatHandedItOver() {
        bool ran = false;
        queue().asyncAfter(0ms, [&] { ran = true; });
        QVERIFY(!ran);
        m_harness->pass(aMoment);
        QVERIFY(ran);
    }

    void shorterDelaysRunBeforeLongerOnes() {
        std::vector<int> order;
        queue().asyncAfter(40ms, [&] { order.push_back(40); });
        queue().asyncAfter(20ms, [&] { order.push_back(20); });
        queue().asyncAfter(30ms, [&] { order.push_back(30); });
        m_harness->pass(60ms);
        QCOMPARE(order, (std::vector<int>{20, 30, 40}));
    }

    void equalDelaysRunInTheOrderOfTheCalls() {
        std::vector<int> order;
        for (int i = 0; i < 5; ++i)
            queue().asyncAfter(10ms, [&order, i] { order.push_back(i); });
        m_harness->pass(30ms);
        QCOMPARE(order, (std::vector<int>{0, 1, 2, 3, 4}));
    }

    void delayedWorkRunsThoughItsItemWasDropped() {
        bool ran = false;
        {
            const auto item = queue().asyncAfter(5ms, [&] { ran = true; });
        }
        m_harness->pass(aMoment);
        QVERIFY(ran);
    }

    void delayedWorkIsLetGoOnceItHasRun() {
        auto captured = std::make_shared<int>(0);
        const std::weak_ptr<int> alive = captured;
        const auto item = queue().asyncAfter(5ms, [captured = std::move(captured)] {});
        m_harness->pass(aMoment);
        QVERIFY(alive.expired());
    }

    void delayedWorkMayScheduleTheNext() {
        bool ran = false;
        queue().asyncAfter(5ms, [&] { queue().asyncAfter(5ms, [&] { ran = true; }); });
        m_harness->pass(40ms);
        QVERIFY(ran);
    }

    void cancelledWorkNeverRuns() {
        bool ran = false;
        const auto item = queue().asyncAfter(5ms, [&] { ran = true; });
        item->cancel();
        m_harness->pass(40ms);
        QVERIFY(!ran);
    }

    void cancellingLetsGoOfWhatWasCaptured() {
        auto captured = std::make_shared<int>(0);
        const std::weak_ptr<int> alive = captured;
        const auto item = queue().asyncAfter(5ms, [captured = std::move(captured)] {});
        item->cancel();
        QVERIFY(alive.expired());
    }

    void cancellingTwiceDoesNothing() {
        bool otherRan = false;
        const auto item = queue().asyncAfter(5ms, [] {});
        queue().asyncAfter(5ms, [&] { otherRan = true; });
        item->cancel();
        item->cancel();
        m_harness->pass(aMoment);
        QVERIFY(otherRan);
    }

    void cancellingAfterTheWorkRanDoesNothing() {
        int runs = 0;
        const auto item = queue().asyncAfter(5ms, [&] { ++runs; });
        m_harness->pass(aMoment);
        item->cancel();
        m_harness->pass(aMoment);
        QCOMPARE(runs, 1);
    }

    void workMayCancelItsOwnItem() {
        std::shared_ptr<platform::WorkItem> item;
        auto captured = std::make_shared<int>(7);
        int seenAfterwards = 0;
        item = queue().asyncAfter(5ms, [&, captured] {
            item->cancel();
            seenAfterwards = *captured;
        });
        m_harness->pass(aMoment);
        QCOMPARE(seenAfterwards, 7);
    }

    void workMayCancelOtherWorkThatIsDueAtOnce() {
        bool ran = false;
        std::shared_ptr<platform::WorkItem> later;
        queue().asyncAfter(5ms, [&] { later->cancel(); });
        later = queue().asyncAfter(5ms, [&] { ran = true; });
        m_harness->pass(aMoment);
        QVERIFY(!ran);
    }

    void itemsMayOutliveTheQueue() {
        bool ran = false;
        const auto item = queue().asyncAfter(5ms, [&] { ran = true; });
        m_harness.reset();
        item->cancel();
        QVERIFY(!ran);
    }

    void destroyingTheQueueRunsWhatWasHandedOver() {
        std::vector<int> order;
        auto &mainQueue = queue();
        mainQueue.async([&] {
            order.push_back(1);
            mainQueue.async([&] { order.push_back(3); });
        });
        mainQueue.async([&] { order.push_back(2); });
        m_harness.reset();
        QCOMPARE(order, (std::vector<int>{1, 2, 3}));
    }

    void destroyingTheQueueLetsGoOfDelayedWork() {
        auto captured = std::make_shared<int>(0);
        const std::weak_ptr<int> alive = captured;
        queue().asyncAfter(5ms, [captured = std::move(captured)] {});
        m_harness.reset();
        QVERIFY(alive.expired());
    }

private:
    static constexpr std::chrono::milliseconds aMoment{20};

    platform::MainQueue &queue() { return m_harness->queue(); }

    Subjects<MainQueueHarness> m_subjects;
    std::unique_ptr<MainQueueHarness> m_harness;
};

} // namespace quillora::test
