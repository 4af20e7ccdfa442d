#pragma once

#include "platform/UserDefaults.h"

#include <QObject>

#include <functional>
#include <memory>
#include <vector>

namespace quillora::test {

/// User defaults, and the runs of a program that uses them.
class UserDefaultsHarness {
public:
    virtual ~UserDefaultsHarness() = default;

    virtual platform::UserDefaults &defaults() = 0;

    /// Ends the run and begins the next one on the same store.
    virtual void restart() = 0;

    /// From here on nothing reaches the store.
    virtual void makeUnwritable() = 0;
};

/// What all user defaults keep to.
class UserDefaultsContract : public QObject {
    Q_OBJECT

public:
    using MakeHarness = std::function<std::unique_ptr<UserDefaultsHarness>()>;

    explicit UserDefaultsContract(MakeHarness make) : m_make(std::move(make)) {}

private Q_SLOTS:
    void init() {
        m_failures.clear();
        m_harness = m_make();
    }
    void cleanup() { m_harness.reset(); }

    void aKeyThatWasNeverWrittenIsAbsent();
    void aValueIsInEffectAtOnce();
    void anEmptyValueIsAValue();
    void theLastValueWins();
    void keysAreTakenExactlyAsGiven();
    void valuesOutliveTheRun_data();
    void valuesOutliveTheRun();
    void aStoreThatWorksTellsOfNoFailure();
    void aFailureToWriteIsToldOnceAndInALaterTurn();
    void whatCannotBeWrittenStaysInEffect();
    void anObserverLearnsOfAFailureThatCameBeforeIt();
    void noObserverIsToldNothing();

private:
    platform::UserDefaults &defaults() { return m_harness->defaults(); }
    void observeFailures();

    MakeHarness m_make;
    std::unique_ptr<UserDefaultsHarness> m_harness;
    std::vector<platform::UserDefaultsFailure> m_failures; ///< that were told
};

} // namespace quillora::test
