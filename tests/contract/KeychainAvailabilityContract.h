#pragma once

#include "contract/Subjects.h"
#include "platform/Keychain.h"
#include "platform/KeychainAvailability.h"
#include "support/ChildProcess.h"

#include <QTest>
#include <QThread>

#include <memory>
#include <optional>

namespace quillora::test {

using namespace Qt::StringLiterals;

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

    void aKeychainThatAppearsIsNoticed() {
        bool isNoticed = false;
        availability().setObserver([&] { isNoticed = true; });
        m_harness->appear();
        m_harness->settle();
        QVERIFY(isNoticed);
    }

    void anUnlockedKeychainIsNoticed() {
        m_harness->appear();
        m_harness->lock();
        m_harness->settle();
        bool isNoticed = false;
        availability().setObserver([&] { isNoticed = true; });
        m_harness->unlock();
        m_harness->settle();
        QVERIFY(isNoticed);
    }

    void aLockedKeychainIsNot() {
        m_harness->appear();
        m_harness->settle();
        bool isNoticed = false;
        availability().setObserver([&] { isNoticed = true; });
        m_harness->lock();
        m_harness->settle();
        QVERIFY(!isNoticed);
    }

    void everyUnlockingIsNoticed() {
        m_harness->appear();
        m_harness->settle();
        int notices = 0;
        availability().setObserver([&] { ++notices; });
        lockAndUnlock();
        QCOMPARE(notices, 1);
        lockAndUnlock();
        QCOMPARE(notices, 2);
    }

    void theKeychainCanBeReadAsSoonAsItIsNoticed() {
        m_harness->appear();
        m_harness->keychain().add(token, "secret");
        m_harness->lock();
        m_harness->settle();
        KeychainItem item{KeychainStatus::failure, {}};
        availability().setObserver([&] { item = m_harness->keychain().copyMatching(token); });
        m_harness->unlock();
        m_harness->settle();
        QCOMPARE(item, (KeychainItem{KeychainStatus::success, "secret"}));
    }

    void theObserverIsCalledOnTheMainThread() {
        m_harness->appear();
        const QThread *thread = nullptr;
        availability().setObserver([&] { thread = QThread::currentThread(); });
        lockAndUnlock();
        QCOMPARE(thread, QThread::currentThread());
    }

    void anObserverTakesThePlaceOfTheOneBefore() {
        m_harness->appear();
        m_harness->settle();
        QStringList notices;
        availability().setObserver([&] { notices += u"first"_s; });
        availability().setObserver([&] { notices += u"second"_s; });
        lockAndUnlock();
        QCOMPARE(notices, QStringList{u"second"_s});
    }

    void noObserverEndsTheWatch() {
        m_harness->appear();
        m_harness->settle();
        int notices = 0;
        availability().setObserver([&] { ++notices; });
        lockAndUnlock();
        availability().setObserver({});
        lockAndUnlock();
        QCOMPARE(notices, 1);
    }

    void theObserverMayEndTheWatch() {
        m_harness->appear();
        m_harness->settle();
        int notices = 0;
        availability().setObserver([&] {
            ++notices;
            availability().setObserver({});
        });
        lockAndUnlock();
        lockAndUnlock();
        QCOMPARE(notices, 1);
    }

    void anObserverThatEndsTheWatchLivesUntilItReturns() {
        m_harness->appear();
        m_harness->settle();
        std::optional<bool> wasAlive;
        auto life = std::make_shared<int>();
        const auto endWatch = [&, trace = std::weak_ptr(life)] {
            availability().setObserver({});
            wasAlive = !trace.expired();
        };
        availability().setObserver([&endWatch, life = std::move(life)] { endWatch(); });
        lockAndUnlock();
        QCOMPARE(wasAlive, std::optional(true));
    }

    void aKeychainThatIsUnlockedWhenAskedForIsNoticed() {
        appearLocked();
        QList<KeychainItem> items;
        availability().setObserver([&] { items.append(m_harness->keychain().copyMatching(token)); });
        ask();
        QVERIFY(items.isEmpty());
        QCOMPARE(m_answers, 0);
        m_harness->unlockWhenAsked();
        // In whichever order the keychain tells of them.
        QVERIFY(ChildProcess::waitUntil([&] { return m_answers > 0 && !items.isEmpty(); }));
        QCOMPARE(items, (QList{KeychainItem{KeychainStatus::success, "secret"}}));
        QCOMPARE(m_answers, 1);
    }

    void aDismissedQuestionChangesNothing() {
        appearLocked();
        bool isNoticed = false;
        availability().setObserver([&] { isNoticed = true; });
        ask();
        dismissQuestion();
        QVERIFY(!isNoticed);
        QCOMPARE(m_harness->keychain().copyMatching(token).status, KeychainStatus::failure);
    }

    void theUserCanBeAskedAgainAfterADismissal() {
        appearLocked();
        ask();
        dismissQuestion();
        ask();
    }

    void anUnlockedKeychainIsNotAskedFor() {
        m_harness->appear();
        m_harness->seatUser();
        m_harness->settle();
        bool isAnswered = false;
        availability().askToUnlock([&] { isAnswered = true; });
        m_harness->settle(); // where its default collection is
        m_harness->settle(); // that there is nothing to unlock
        QVERIFY(!m_harness->isAsking());
        QVERIFY(!isAnswered);
        m_harness->lock();
        m_harness->settle();
        ask();
    }

    void askingTwiceIsAskingOnce() {
        appearLocked();
        bool isFirstAnswered = false;
        availability().askToUnlock([&] { isFirstAnswered = true; });
        ask();
        dismissQuestion();
        QCOMPARE(m_answers, 1);
        QVERIFY(!isFirstAnswered);
        QVERIFY(!ChildProcess::waitUntil([this] { return m_harness->isAsking(); }, 500));
    }

private:
    using KeychainItem = platform::KeychainItem;
    using KeychainQuery = platform::KeychainQuery;
    using KeychainStatus = platform::KeychainStatus;

    static inline const KeychainQuery token{u"com.local.Quillora"_s, u"openAIClientToken"_s};

    platform::KeychainAvailability &availability() { return m_harness->availability(); }

    /// Ends with all of it noticed.
    void lockAndUnlock() {
        m_harness->lock();
        m_harness->unlock();
        m_harness->settle();
    }

    /// With an item in it, and somebody who can unlock it.
    void appearLocked() {
        m_harness->appear();
        m_harness->keychain().add(token, "secret");
        m_harness->seatUser();
        m_harness->lock();
        m_harness->settle();
    }

    /// Ends when the user is asked.
    void ask() {
        m_answers = 0;
        availability().askToUnlock([this] { ++m_answers; });
        QVERIFY(ChildProcess::waitUntil([this] { return m_harness->isAsking(); }));
    }

    void dismissQuestion() {
        m_harness->dismissQuestion();
        QVERIFY(ChildProcess::waitUntil([this] { return !m_harness->isAsking() && m_answers > 0; }));
        m_harness->settle();
    }

    Subjects<KeychainAvailabilityHarness> m_subjects;
    int m_answers = 0; ///< to the last question
    std::unique_ptr<KeychainAvailabilityHarness> m_harness;
};

} // namespace quillora::test
