#include "contract/KeychainAvailabilityContract.h"

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

void KeychainAvailabilityContract::changesWhileItIsLockedFail() {
    m_harness->appear();
    m_harness->keychain().add(token, "secret");
    QCOMPARE(availability().failedChangeCount(), 0);
    m_harness->lock();
    m_harness->settle();
    m_harness->keychain().update(token, "newer");
    QCOMPARE(availability().failedChangeCount(), 1);
    m_harness->keychain().remove(token);
    QCOMPARE(availability().failedChangeCount(), 2);
    m_harness->keychain().add({u"com.local.Quillora"_qs, u"deviceIdentifier"_qs}, "new");
    QCOMPARE(availability().failedChangeCount(), 3);
}

void KeychainAvailabilityContract::changesWhileItIsUnlockedDoNot() {
    m_harness->appear();
    m_harness->keychain().update(token, "there is none yet");
    m_harness->keychain().add(token, "secret");
    m_harness->keychain().update(token, "newer");
    m_harness->keychain().remove(token);
    m_harness->keychain().remove(token);
    QCOMPARE(availability().failedChangeCount(), 0);
}

void KeychainAvailabilityContract::aReadThatFailsIsNoChange() {
    m_harness->appear();
    m_harness->lock();
    m_harness->settle();
    m_harness->keychain().copyMatching(token);
    QCOMPARE(availability().failedChangeCount(), 0);
}

} // namespace quillora::test
