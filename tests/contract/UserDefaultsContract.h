#pragma once

#include "contract/Subjects.h"
#include "platform/UserDefaults.h"

#include <QObject>

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
    explicit UserDefaultsContract(Subjects<UserDefaultsHarness> subjects) : m_subjects(std::move(subjects)) {}

private Q_SLOTS:
    void initTestCase_data() { m_subjects.announce(); }
    void init() {
        m_failures.clear();
        m_harness = m_subjects.harness();
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

    Subjects<UserDefaultsHarness> m_subjects;
    std::unique_ptr<UserDefaultsHarness> m_harness;
    std::vector<platform::UserDefaultsFailure> m_failures; ///< that were told
};

} // namespace quillora::test
