#include "contract/MainQueueContract.h"

#include <QTest>
#include <QThread>

#include <thread>
#include <vector>

namespace quillora::test {

using namespace std::chrono_literals;

namespace {
constexpr auto aMoment = 20ms;
}

void MainQueueContract::init() { m_harness = m_subjects.harness(); }

void MainQueueContract::cleanup() { m_harness.reset(); }

void MainQueueContract::asyncWorkRunsAfterTheCallThatHandedItOver() {
    bool ran = false;
    queue().async([&] { ran = true; });
    QVERIFY(!ran);
    m_harness->pass(aMoment);
    QVERIFY(ran);
}

void MainQueueContract::asyncWorkRunsInTheOrderOfTheCalls() {
    std::vector<int> order;
    for (int i = 0; i < 5; ++i)
        queue().async([&order, i] { order.push_back(i); });
    m_harness->pass(aMoment);
    QCOMPARE(order, (std::vector<int>{0, 1, 2, 3, 4}));
}

void MainQueueContract::workThatAsyncWorkHandsOverRunsAfterWhatWaitedAlready() {
    std::vector<int> order;
    queue().async([&] {
        queue().async([&] { order.push_back(3); });
        order.push_back(1);
    });
    queue().async([&] { order.push_back(2); });
    m_harness->pass(aMoment);
    QCOMPARE(order, (std::vector<int>{1, 2, 3}));
}

void MainQueueContract::workOfAnotherThreadRunsOnTheMainThread() {
    QThread *ranOn = nullptr;
    std::thread other([&] { queue().async([&] { ranOn = QThread::currentThread(); }); });
    other.join();
    m_harness->pass(aMoment);
    QCOMPARE(ranOn, QThread::currentThread());
}

void MainQueueContract::workOfOneOtherThreadKeepsItsOrder() {
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

void MainQueueContract::asyncWorkIsLetGoOnceItHasRun() {
    auto captured = std::make_shared<int>(0);
    const std::weak_ptr<int> alive = captured;
    queue().async([captured = std::move(captured)] {});
    QVERIFY(!alive.expired());
    m_harness->pass(aMoment);
    QVERIFY(alive.expired());
}

void MainQueueContract::delayedWorkRunsOnceAndNotBeforeItsDelay_data() {
    QTest::addColumn<int>("milliseconds");
    QTest::newRow("before the chord") << 150;
    QTest::newRow("before the clipboard is restored") << 800;
    QTest::newRow("before the recognizer is given up") << 1500;
}

void MainQueueContract::delayedWorkRunsOnceAndNotBeforeItsDelay() {
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

void MainQueueContract::delayedWorkOfNoDelayRunsAfterTheCallThatHandedItOver() {
    bool ran = false;
    queue().asyncAfter(0ms, [&] { ran = true; });
    QVERIFY(!ran);
    m_harness->pass(aMoment);
    QVERIFY(ran);
}

void MainQueueContract::shorterDelaysRunBeforeLongerOnes() {
    std::vector<int> order;
    queue().asyncAfter(40ms, [&] { order.push_back(40); });
    queue().asyncAfter(20ms, [&] { order.push_back(20); });
    queue().asyncAfter(30ms, [&] { order.push_back(30); });
    m_harness->pass(60ms);
    QCOMPARE(order, (std::vector<int>{20, 30, 40}));
}

void MainQueueContract::equalDelaysRunInTheOrderOfTheCalls() {
    std::vector<int> order;
    for (int i = 0; i < 5; ++i)
        queue().asyncAfter(10ms, [&order, i] { order.push_back(i); });
    m_harness->pass(30ms);
    QCOMPARE(order, (std::vector<int>{0, 1, 2, 3, 4}));
}

void MainQueueContract::delayedWorkRunsThoughItsItemWasDropped() {
    bool ran = false;
    {
        const auto item = queue().asyncAfter(5ms, [&] { ran = true; });
    }
    m_harness->pass(aMoment);
    QVERIFY(ran);
}

void MainQueueContract::delayedWorkIsLetGoOnceItHasRun() {
    auto captured = std::make_shared<int>(0);
    const std::weak_ptr<int> alive = captured;
    const auto item = queue().asyncAfter(5ms, [captured = std::move(captured)] {});
    m_harness->pass(aMoment);
    QVERIFY(alive.expired());
}

void MainQueueContract::delayedWorkMayScheduleTheNext() {
    bool ran = false;
    queue().asyncAfter(5ms, [&] { queue().asyncAfter(5ms, [&] { ran = true; }); });
    m_harness->pass(40ms);
    QVERIFY(ran);
}

void MainQueueContract::cancelledWorkNeverRuns() {
    bool ran = false;
    const auto item = queue().asyncAfter(5ms, [&] { ran = true; });
    item->cancel();
    m_harness->pass(40ms);
    QVERIFY(!ran);
}

void MainQueueContract::cancellingLetsGoOfWhatWasCaptured() {
    auto captured = std::make_shared<int>(0);
    const std::weak_ptr<int> alive = captured;
    const auto item = queue().asyncAfter(5ms, [captured = std::move(captured)] {});
    item->cancel();
    QVERIFY(alive.expired());
}

void MainQueueContract::cancellingTwiceDoesNothing() {
    bool otherRan = false;
    const auto item = queue().asyncAfter(5ms, [] {});
    queue().asyncAfter(5ms, [&] { otherRan = true; });
    item->cancel();
    item->cancel();
    m_harness->pass(aMoment);
    QVERIFY(otherRan);
}

void MainQueueContract::cancellingAfterTheWorkRanDoesNothing() {
    int runs = 0;
    const auto item = queue().asyncAfter(5ms, [&] { ++runs; });
    m_harness->pass(aMoment);
    item->cancel();
    m_harness->pass(aMoment);
    QCOMPARE(runs, 1);
}

void MainQueueContract::workMayCancelItsOwnItem() {
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

void MainQueueContract::workMayCancelOtherWorkThatIsDueAtOnce() {
    bool ran = false;
    std::shared_ptr<platform::WorkItem> later;
    queue().asyncAfter(5ms, [&] { later->cancel(); });
    later = queue().asyncAfter(5ms, [&] { ran = true; });
    m_harness->pass(aMoment);
    QVERIFY(!ran);
}

void MainQueueContract::itemsMayOutliveTheQueue() {
    bool ran = false;
    const auto item = queue().asyncAfter(5ms, [&] { ran = true; });
    m_harness.reset();
    item->cancel();
    QVERIFY(!ran);
}

void MainQueueContract::destroyingTheQueueRunsWhatWasHandedOver() {
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

void MainQueueContract::destroyingTheQueueLetsGoOfDelayedWork() {
    auto captured = std::make_shared<int>(0);
    const std::weak_ptr<int> alive = captured;
    queue().asyncAfter(5ms, [captured = std::move(captured)] {});
    m_harness.reset();
    QVERIFY(alive.expired());
}

} // namespace quillora::test
