#include "contract/KeychainAvailabilityContract.h"

#include "support/ChildProcess.h"

#include <QTest>
#include <QThread>

#include <memory>
#include <optional>

namespace quillora::test {

using platform::KeychainItem;
using platform::KeychainQuery;
using platform::KeychainStatus;

namespace {

const KeychainQuery token{u"com.local.Quillora"_qs, u"openAIClientToken"_qs};

} // namespace

void KeychainAvailabilityContract::lockAndUnlock() {
    m_harness->lock();
    m_harness->unlock();
    m_harness->settle();
}

void KeychainAvailabilityContract::aKeychainThatAppearsIsNoticed() {
    bool isNoticed = false;
    availability().setObserver([&] { isNoticed = true; });
    m_harness->appear();
    m_harness->settle();
    QVERIFY(isNoticed);
}

void KeychainAvailabilityContract::anUnlockedKeychainIsNoticed() {
    m_harness->appear();
    m_harness->lock();
    m_harness->settle();
    bool isNoticed = false;
    availability().setObserver([&] { isNoticed = true; });
    m_harness->unlock();
    m_harness->settle();
    QVERIFY(isNoticed);
}

void KeychainAvailabilityContract::aLockedKeychainIsNot() {
    m_harness->appear();
    m_harness->settle();
    bool isNoticed = false;
    availability().setObserver([&] { isNoticed = true; });
    m_harness->lock();
    m_harness->settle();
    QVERIFY(!isNoticed);
}

void KeychainAvailabilityContract::everyUnlockingIsNoticed() {
    m_harness->appear();
    m_harness->settle();
    int notices = 0;
    availability().setObserver([&] { ++notices; });
    lockAndUnlock();
    QCOMPARE(notices, 1);
    lockAndUnlock();
    QCOMPARE(notices, 2);
}

void KeychainAvailabilityContract::theKeychainCanBeReadAsSoonAsItIsNoticed() {
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

void KeychainAvailabilityContract::theObserverIsCalledOnTheMainThread() {
    m_harness->appear();
    const QThread *thread = nullptr;
    availability().setObserver([&] { thread = QThread::currentThread(); });
    lockAndUnlock();
    QCOMPARE(thread, QThread::currentThread());
}

void KeychainAvailabilityContract::anObserverTakesThePlaceOfTheOneBefore() {
    m_harness->appear();
    m_harness->settle();
    QStringList notices;
    availability().setObserver([&] { notices += u"first"_qs; });
    availability().setObserver([&] { notices += u"second"_qs; });
    lockAndUnlock();
    QCOMPARE(notices, QStringList{u"second"_qs});
}

void KeychainAvailabilityContract::noObserverEndsTheWatch() {
    m_harness->appear();
    m_harness->settle();
    int notices = 0;
    availability().setObserver([&] { ++notices; });
    lockAndUnlock();
    availability().setObserver({});
    lockAndUnlock();
    QCOMPARE(notices, 1);
}

void KeychainAvailabilityContract::theObserverMayEndTheWatch() {
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

void KeychainAvailabilityContract::anObserverThatEndsTheWatchLivesUntilItReturns() {
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

/// With an item in it, and somebody who can unlock it.
void KeychainAvailabilityContract::appearLocked() {
    m_harness->appear();
    m_harness->keychain().add(token, "secret");
    m_harness->seatUser();
    m_harness->lock();
    m_harness->settle();
}

/// Ends when the user is asked.
void KeychainAvailabilityContract::ask() {
    m_answers = 0;
    availability().askToUnlock([this] { ++m_answers; });
    QVERIFY(ChildProcess::waitUntil([this] { return m_harness->isAsking(); }));
}

void KeychainAvailabilityContract::dismissQuestion() {
    m_harness->dismissQuestion();
    QVERIFY(ChildProcess::waitUntil([this] { return !m_harness->isAsking() && m_answers > 0; }));
    m_harness->settle();
}

void KeychainAvailabilityContract::aKeychainThatIsUnlockedWhenAskedForIsNoticed() {
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

void KeychainAvailabilityContract::aDismissedQuestionChangesNothing() {
    appearLocked();
    bool isNoticed = false;
    availability().setObserver([&] { isNoticed = true; });
    ask();
    dismissQuestion();
    QVERIFY(!isNoticed);
    QCOMPARE(m_harness->keychain().copyMatching(token).status, KeychainStatus::failure);
}

void KeychainAvailabilityContract::theUserCanBeAskedAgainAfterADismissal() {
    appearLocked();
    ask();
    dismissQuestion();
    ask();
}

void KeychainAvailabilityContract::anUnlockedKeychainIsNotAskedFor() {
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

void KeychainAvailabilityContract::askingTwiceIsAskingOnce() {
    appearLocked();
    bool isFirstAnswered = false;
    availability().askToUnlock([&] { isFirstAnswered = true; });
    ask();
    dismissQuestion();
    QCOMPARE(m_answers, 1);
    QVERIFY(!isFirstAnswered);
    QVERIFY(!ChildProcess::waitUntil([this] { return m_harness->isAsking(); }, 500));
}

} // namespace quillora::test
