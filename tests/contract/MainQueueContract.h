#pragma once

#include "contract/Subjects.h"
#include "platform/MainQueue.h"

#include <QObject>

#include <chrono>
#include <memory>

namespace quillora::test {

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
    void init();
    void cleanup();

    void asyncWorkRunsAfterTheCallThatHandedItOver();
    void asyncWorkRunsInTheOrderOfTheCalls();
    void workThatAsyncWorkHandsOverRunsAfterWhatWaitedAlready();
    void workOfAnotherThreadRunsOnTheMainThread();
    void workOfOneOtherThreadKeepsItsOrder();
    void asyncWorkIsLetGoOnceItHasRun();

    void delayedWorkRunsOnceAndNotBeforeItsDelay_data();
    void delayedWorkRunsOnceAndNotBeforeItsDelay();
    void delayedWorkOfNoDelayRunsAfterTheCallThatHandedItOver();
    void shorterDelaysRunBeforeLongerOnes();
    void equalDelaysRunInTheOrderOfTheCalls();
    void delayedWorkRunsThoughItsItemWasDropped();
    void delayedWorkIsLetGoOnceItHasRun();
    void delayedWorkMayScheduleTheNext();

    void cancelledWorkNeverRuns();
    void cancellingLetsGoOfWhatWasCaptured();
    void cancellingTwiceDoesNothing();
    void cancellingAfterTheWorkRanDoesNothing();
    void workMayCancelItsOwnItem();
    void workMayCancelOtherWorkThatIsDueAtOnce();
    void itemsMayOutliveTheQueue();
    void destroyingTheQueueRunsWhatWasHandedOver();
    void destroyingTheQueueLetsGoOfDelayedWork();

private:
    platform::MainQueue &queue() { return m_harness->queue(); }

    Subjects<MainQueueHarness> m_subjects;
    std::unique_ptr<MainQueueHarness> m_harness;
};

} // namespace quillora::test
