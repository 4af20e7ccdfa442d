#pragma once

#include "contract/Subjects.h"
#include "platform/Keychain.h"
#include "platform/KeychainAvailability.h"

#include <QObject>

#include <memory>

namespace quillora::test {

/// A keychain that has not appeared yet, what notices when it can be used, and the user who locks and unlocks
/// it.
class KeychainAvailabilityHarness {
public:
    virtual ~KeychainAvailabilityHarness() = default;

    virtual platform::KeychainAvailability &availability() = 0;
    virtual platform::Keychain &keychain() = 0;

    /// The keychain comes up, unlocked and empty.
    virtual void appear() = 0;
    virtual void lock() = 0;
    virtual void unlock() = 0;

    /// From here on there is a user to ask.
    virtual void seatUser() = 0;
    /// Whether he is asked to unlock it, and how he answers.
    virtual bool isAsking() = 0;
    virtual void unlockWhenAsked() = 0;
    virtual void dismissQuestion() = 0;

    /// Returns when all that has happened so far has been noticed.
    virtual void settle() = 0;
};

/// What everything keeps to that notices a keychain.
class KeychainAvailabilityContract : public QObject {
    Q_OBJECT

public:
    explicit KeychainAvailabilityContract(Subjects<KeychainAvailabilityHarness> subjects)
        : m_subjects(std::move(subjects)) {}

private Q_SLOTS:
    void initTestCase_data() { m_subjects.announce(); }
    void init() { m_harness = m_subjects.harness(); }
    void cleanup() { m_harness.reset(); }

    void aKeychainThatAppearsIsNoticed();
    void anUnlockedKeychainIsNoticed();
    void aLockedKeychainIsNot();
    void everyUnlockingIsNoticed();
    void theKeychainCanBeReadAsSoonAsItIsNoticed();
    void theObserverIsCalledOnTheMainThread();
    void anObserverTakesThePlaceOfTheOneBefore();
    void noObserverEndsTheWatch();
    void theObserverMayEndTheWatch();
    void anObserverThatEndsTheWatchLivesUntilItReturns();
    void aKeychainThatIsUnlockedWhenAskedForIsNoticed();
    void aDismissedQuestionChangesNothing();
    void theUserCanBeAskedAgainAfterADismissal();
    void anUnlockedKeychainIsNotAskedFor();
    void askingTwiceIsAskingOnce();

private:
    platform::KeychainAvailability &availability() { return m_harness->availability(); }
    /// Ends with all of it noticed.
    void lockAndUnlock();
    void appearLocked();
    void ask();
    void dismissQuestion();

    Subjects<KeychainAvailabilityHarness> m_subjects;
    int m_answers = 0; ///< to the last question
    std::unique_ptr<KeychainAvailabilityHarness> m_harness;
};

} // namespace quillora::test
