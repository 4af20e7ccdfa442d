#pragma once

#include "contract/Subjects.h"
#include "platform/ModelStore.h"
#include "support/Delivery.h"

#include <QTest>

#include <functional>
#include <memory>
#include <utility>

namespace quillora::test {

using namespace Qt::StringLiterals;

/// A store whose catalog has the models "first" and "second", in version "2", from a server called
/// "127.0.0.1", and something besides that cannot be used; and what befalls them.
class ModelStoreHarness {
public:
    virtual ~ModelStoreHarness() = default;

    virtual platform::ModelStore &store() = 0;

    /// Turns the event loop until it is so; false if it never is.
    virtual bool waitUntil(const std::function<bool()> &condition) = 0;

    /// From now on.
    virtual void deliver(Delivery delivery) = 0;

    /// Puts "first" there, as an installation does or an administrator.
    enum class Owner { user, administrator };
    virtual void place(const QString &version, Owner owner) = 0;

    /// Changes what the installed "first" holds, but nothing that shows without reading it.
    virtual void damageSecretly() = 0;
};

/// What every model store keeps to.
class ModelStoreContract : public QObject {
    Q_OBJECT

    using Owner = ModelStoreHarness::Owner;
    using ModelProgress = platform::ModelProgress;
    using ModelState = platform::ModelState;
    using ModelStore = platform::ModelStore;
    using Operation = std::function<void(ModelStore &)>;
    using Presence = ModelState::Presence;
    using Step = ModelProgress::Step;

public:
    explicit ModelStoreContract(Subjects<ModelStoreHarness> subjects) : m_subjects(std::move(subjects)) {}

private Q_SLOTS:
    void initTestCase_data() { m_subjects.announce(); }
    void init() { m_harness = m_subjects.harness(); }
    void cleanup() { m_harness.reset(); }

    void theModelsOfTheCatalogComeInItsOrderAndAreAbsent() {
        const auto models = store().models();
        QCOMPARE(models.size(), 2);
        QCOMPARE(models[0].id, u"first"_s);
        QCOMPARE(models[0].version, u"2"_s);
        QCOMPARE(models[1].id, u"second"_s);
        QCOMPARE(first(), ModelState());
    }

    void theServersOfAModelAreNamedOnce() {
        for (const auto &model : store().models())
            QCOMPARE(model.hosts, QStringList{u"127.0.0.1"_s});
    }

    void whatIsLeftOutOfTheCatalogIsTold() {
        const QStringList omissions = store().omissions();
        QCOMPARE(omissions.size(), 1);
        QVERIFY(omissions.first().endsWith(u'.'));
        QVERIFY(installFirst());
        QCOMPARE(store().omissions(), omissions);
    }

    void aModelThatNobodyKnowsIsAnError_data() {
        QTest::addColumn<Operation>("operation");
        const QString id = u"third"_s;
        QTest::newRow("state") << Operation([=](ModelStore &store) { store.state(id); });
        QTest::newRow("install") << Operation([=](ModelStore &store) { store.install(id); });
        QTest::newRow("pause") << Operation([=](ModelStore &store) { store.pause(id); });
        QTest::newRow("cancel") << Operation([=](ModelStore &store) { store.cancel(id); });
        QTest::newRow("remove") << Operation([=](ModelStore &store) { store.remove(id); });
        QTest::newRow("use") << Operation([=](ModelStore &store) { store.use(id); });
        QTest::newRow("check") << Operation([=](ModelStore &store) { store.check(id); });
        QTest::newRow("remark") << Operation([=](ModelStore &store) { store.remark(id, u"2"_s, u"It."_s); });
        QTest::newRow("reject") << Operation([=](ModelStore &store) { store.reject(id, u"2"_s, u"It."_s); });
    }

    void aModelThatNobodyKnowsIsAnError() {
        QFETCH(const Operation, operation);
        try {
            operation(store());
            QFAIL("nothing was thrown");
        } catch (const LocalizedError &error) {
            QCOMPARE(error.errorDescription(), u"There is no model \"third\"."_s);
        }
    }

    void aModelIsInstalledInTheVersionOfTheCatalog() {
        QVERIFY(installFirst());
        QCOMPARE(first(), installed(u"2"_s, Owner::user));
    }

    void observersAreToldFromTheEventLoopOnly() {
        QStringList told;
        store().addObserver([&](const QString &id) { told += id; });
        store().install(u"first"_s);
        QCOMPARE(told, QStringList());
        QVERIFY(waitUntil([&] { return told.contains(u"first"_s); }));
        QVERIFY(!told.contains(u"second"_s));
    }

    void anObserverThatWasRemovedIsNotTold() {
        int removed = 0, lone = 0, kept = 0;
        const auto token = store().addObserver([&](const QString &) { ++removed; });
        ModelStore::ObserverToken loneToken = 0;
        loneToken = store().addObserver([&](const QString &) {
            ++lone;
            store().removeObserver(loneToken);
        });
        store().addObserver([&](const QString &) {
            if (first().presence == Presence::installed)
                ++kept;
        });
        store().removeObserver(token);
        QVERIFY(installFirst());
        QVERIFY(waitUntil([&] { return kept > 0; }));
        QCOMPARE(removed, 0);
        QCOMPARE(lone, 1);
    }

    void anObserverThatAnotherRemovesIsNotTold() {
        int oneTold = 0, otherTold = 0;
        ModelStore::ObserverToken one = 0, other = 0;
        one = store().addObserver([&](const QString &) {
            ++oneTold;
            store().removeObserver(other);
        });
        other = store().addObserver([&](const QString &) {
            ++otherTold;
            store().removeObserver(one);
        });
        QVERIFY(installFirst());
        QVERIFY(waitUntil([&] { return oneTold + otherTold > 0; }));
        QVERIFY((oneTold > 0) != (otherTold > 0));
    }

    void modelsAreInstalledInTheOrderInWhichTheyWereAskedFor() {
        QStringList arrived;
        store().addObserver([&](const QString &id) {
            if (store().state(id).presence == Presence::installed && !arrived.contains(id))
                arrived += id;
        });
        store().install(u"second"_s);
        store().install(u"first"_s);
        QVERIFY(first().progress);
        QCOMPARE(first().progress->step, Step::waiting);
        m_harness->deliver(Delivery::everything);
        QVERIFY(waitUntil([&] { return arrived.size() == 2; }));
        QCOMPARE(arrived, (QStringList{u"second"_s, u"first"_s}));
    }

    void progressTellsHowFarItIs() {
        QVERIFY(partOfFirstCame());
        QVERIFY(waitUntil([&] { return first().progress->totalBytes.has_value(); }));
        QCOMPARE(first().progress->step, Step::downloading);
        QVERIFY(first().progress->receivedBytes < *first().progress->totalBytes);
        QCOMPARE(first().progress->percent(),
                 int(first().progress->receivedBytes * 100 / *first().progress->totalBytes));
        QCOMPARE(first().presence, Presence::absent);
        QVERIFY(!first().isPaused);
    }

    void whatIsOnItsWayIsNotInstalledTwice() {
        store().install(u"first"_s);
        store().install(u"second"_s);
        store().install(u"first"_s);
        QCOMPARE(store().state(u"second"_s).progress->step, Step::waiting);
        m_harness->deliver(Delivery::everything);
        QVERIFY(waitFor(Presence::installed));
        QVERIFY(waitUntil([&] { return store().state(u"second"_s).presence == Presence::installed; }));
        QVERIFY(!first().progress);
    }

    void whatIsInstalledWholeIsNotInstalledAgain() {
        QVERIFY(installFirst());
        m_harness->deliver(Delivery::nothing);
        store().install(u"first"_s);
        QVERIFY(!first().progress);
    }

    void aPausedModelKeepsWhatCameUntilItIsAskedFor() {
        QVERIFY(partOfFirstCame());
        store().pause(u"first"_s);
        QVERIFY(!first().progress);
        QVERIFY(first().isPaused);
        QCOMPARE(first().problem, QString());
        QVERIFY(installFirst());
        QVERIFY(!first().isPaused);
    }

    void whatWaitsCanBePausedToo() {
        store().install(u"second"_s);
        store().install(u"first"_s);
        store().pause(u"first"_s);
        ModelState paused;
        paused.isPaused = true;
        QCOMPARE(first(), paused);
        m_harness->deliver(Delivery::everything);
        QVERIFY(waitUntil([&] { return store().state(u"second"_s).presence == Presence::installed; }));
        QCOMPARE(first(), paused);
        QVERIFY(installFirst());
        QCOMPARE(first(), installed(u"2"_s, Owner::user));
    }

    void whatWasPausedBeforeAnythingCameCanBeCancelled() {
        store().install(u"first"_s);
        store().pause(u"first"_s);
        QVERIFY(first().isPaused);
        store().cancel(u"first"_s);
        QVERIFY(waitUntil([&] { return first() == ModelState(); }));
    }

    void whatWasPausedBeforeAnythingCameIsForgottenByWhoRemovesIt() {
        store().install(u"first"_s);
        store().pause(u"first"_s);
        store().remove(u"first"_s);
        QVERIFY(waitUntil([&] { return first() == ModelState(); }));
    }

    void aCancelledModelForgetsWhatCame() {
        QVERIFY(partOfFirstCame());
        store().cancel(u"first"_s);
        QCOMPARE(first(), ModelState());
        QVERIFY(installFirst());
    }

    void aPausedModelCanBeCancelled() {
        QVERIFY(partOfFirstCame());
        store().pause(u"first"_s);
        store().cancel(u"first"_s);
        QVERIFY(waitUntil([&] { return first() == ModelState(); }));
    }

    void theNextModelComesWhenTheOneBeforeIsPaused() {
        QVERIFY(partOfFirstCame());
        store().install(u"second"_s);
        m_harness->deliver(Delivery::everything);
        store().pause(u"first"_s);
        QVERIFY(waitUntil([&] { return store().state(u"second"_s).presence == Presence::installed; }));
        QCOMPARE(first().presence, Presence::absent);
    }

    void nothingEndsWhereNothingIsOnItsWay() {
        store().pause(u"first"_s);
        store().cancel(u"first"_s);
        QCOMPARE(first(), ModelState());
    }

    void aFailureIsToldAndTheNextModelComes() {
        m_harness->deliver(Delivery::refusal);
        store().install(u"first"_s);
        store().install(u"second"_s);
        QVERIFY(waitUntil([&] { return !first().progress && !store().state(u"second"_s).progress; }));
        QCOMPARE(first().presence, Presence::absent);
        QVERIFY(first().hasFailed);
        QVERIFY(first().problem.endsWith(u'.'));
        QVERIFY(!first().isPaused);
        QVERIFY(store().state(u"second"_s).problem.endsWith(u'.'));
    }

    void whoAsksAgainIsNotToldOfTheOldFailure() {
        m_harness->deliver(Delivery::refusal);
        store().install(u"first"_s);
        QVERIFY(waitUntil([&] { return !first().problem.isEmpty(); }));
        m_harness->deliver(Delivery::everything);
        store().install(u"first"_s);
        QVERIFY(first().progress);
        QVERIFY(!first().hasFailed);
        QCOMPARE(first().problem, QString());
        QVERIFY(waitFor(Presence::installed));
        QCOMPARE(first().problem, QString());
    }

    void whatIsInstalledCanBeUsed() {
        QVERIFY(installFirst());
        const auto use = store().use(u"first"_s);
        QVERIFY(use);
        QCOMPARE(use->version(), u"2"_s);
        QVERIFY(!use->folder().isEmpty());
        QVERIFY(store().use(u"first"_s));
    }

    void whatIsNotInstalledCannotBeUsed() {
        QVERIFY(!store().use(u"first"_s));
        QVERIFY(partOfFirstCame());
        QVERIFY(!store().use(u"first"_s));
    }

    void aRemovedModelIsAbsent() {
        QVERIFY(installFirst());
        bool wasTold = false;
        store().addObserver([&](const QString &) { wasTold = wasTold || first() == ModelState(); });
        store().remove(u"first"_s);
        QVERIFY(waitUntil([&] { return wasTold; }));
        QVERIFY(!store().use(u"first"_s));
        QVERIFY(installFirst());
    }

    void removalWaitsForTheLastUser() {
        QVERIFY(installFirst());
        auto one = store().use(u"first"_s), another = store().use(u"first"_s);
        store().remove(u"first"_s);
        one.reset();
        QVERIFY(m_harness->waitUntil([turns = 0]() mutable { return ++turns == 5; }));
        QVERIFY(first().isLeaving);
        QCOMPARE(first().presence, Presence::installed);
        QVERIFY(!store().use(u"first"_s));
        another.reset();
        QVERIFY(waitUntil([&] { return first() == ModelState(); }));
    }

    void whatIsAskedForWhileItLeavesStays() {
        QVERIFY(installFirst());
        auto use = store().use(u"first"_s);
        store().remove(u"first"_s);
        QVERIFY(first().isLeaving);
        store().install(u"first"_s);
        QVERIFY(!first().isLeaving);
        use.reset();
        // Models leave one behind the other; what waited for its user is tried once more.
        for (int removals = 0; removals < 2; ++removals) {
            store().install(u"second"_s);
            QVERIFY(waitUntil([&] { return store().state(u"second"_s).isInstalled(); }));
            store().remove(u"second"_s);
            QVERIFY(waitUntil([&] { return store().state(u"second"_s) == ModelState(); }));
        }
        QCOMPARE(first(), installed(u"2"_s, Owner::user));
        QVERIFY(store().use(u"first"_s));
    }

    void removalEndsTheInstallation() {
        QVERIFY(partOfFirstCame());
        store().remove(u"first"_s);
        QVERIFY(!first().progress);
        QVERIFY(waitUntil([&] { return first() == ModelState(); }));
    }

    void whatIsNotThereIsRemovedWithoutAWord() {
        store().remove(u"first"_s);
        QVERIFY(waitUntil([&] { return first() == ModelState(); }));
    }

    void theModelOfAnAdministratorStays() {
        m_harness->place(u"2"_s, Owner::administrator);
        QCOMPARE(first(), installed(u"2"_s, Owner::administrator));
        store().remove(u"first"_s);
        QVERIFY(!first().isLeaving);
        QVERIFY(store().use(u"first"_s));
    }

    void anOwnModelIsTakenBeforeTheSameOfAnAdministrator() {
        m_harness->place(u"2"_s, Owner::administrator);
        m_harness->place(u"2"_s, Owner::user);
        QVERIFY(first().isOwn);
        store().remove(u"first"_s);
        QVERIFY(waitUntil([&] { return !first().isOwn; }));
        QCOMPARE(first().presence, Presence::installed);
    }

    void aCheckFindsWhatIsDamaged() {
        QVERIFY(installFirst());
        bool wasTold = false;
        store().addObserver(
            [&](const QString &) { wasTold = wasTold || first().presence == Presence::damaged; });
        m_harness->damageSecretly();
        QVERIFY(store().use(u"first"_s));
        store().check(u"first"_s);
        QVERIFY(waitUntil([&] { return wasTold; }));
        QVERIFY(first().problem.endsWith(u'.'));
        QCOMPARE(first().version, u"2"_s);
        QVERIFY(!store().use(u"first"_s));
    }

    void aCheckOfAWholeModelFindsNothing() {
        QVERIFY(installFirst());
        int toldCount = 0;
        store().addObserver([&](const QString &) { ++toldCount; });
        store().check(u"first"_s);
        QVERIFY(waitUntil([&] { return toldCount > 0; }));
        QCOMPARE(first().presence, Presence::installed);
        QCOMPARE(first().problem, QString());
    }

    void aDamagedModelIsRepaired() {
        QVERIFY(installFirst());
        m_harness->damageSecretly();
        store().check(u"first"_s);
        QVERIFY(waitFor(Presence::damaged));
        QVERIFY(installFirst());
        QCOMPARE(first().problem, QString());
        QVERIFY(store().use(u"first"_s));
    }

    void aRejectedModelIsUnfitUntilItIsInstalledAnew() {
        QVERIFY(installFirst());
        bool wasTold = false;
        store().addObserver(
            [&](const QString &) { wasTold = wasTold || first().presence == Presence::unfit; });
        store().reject(u"first"_s, u"2"_s, u"It does not work."_s);
        QCOMPARE(first().presence, Presence::unfit);
        QVERIFY(waitUntil([&] { return wasTold; }));
        QCOMPARE(first().problem, u"It does not work."_s);
        QVERIFY(first().isOwn);
        QVERIFY(!first().isInstalled());
        QVERIFY(!store().use(u"first"_s));
        QVERIFY(installFirst());
        QCOMPARE(first().problem, QString());
        QVERIFY(store().use(u"first"_s));
    }

    void aRejectedModelThatIsDamagedIsCalledThat() {
        QVERIFY(installFirst());
        m_harness->damageSecretly();
        store().reject(u"first"_s, u"2"_s, u"It does not work."_s);
        QVERIFY(waitFor(Presence::damaged));
        QVERIFY(first().problem != u"It does not work."_s);
    }

    void aRejectionIsOfOneVersion() {
        QVERIFY(installFirst());
        store().reject(u"first"_s, u"1"_s, u"It does not work."_s);
        QCOMPARE(first(), installed(u"2"_s, Owner::user));
        QVERIFY(store().use(u"first"_s));
    }

    void theLastRejectionIsTheOneThatIsTold() {
        QVERIFY(installFirst());
        store().reject(u"first"_s, u"2"_s, u"It does not work."_s);
        store().reject(u"first"_s, u"2"_s, u"It is too large."_s);
        QCOMPARE(first().problem, u"It is too large."_s);
    }

    void whatIsInstalledAnewLetsNoOtherCopyServe() {
        m_harness->place(u"2"_s, Owner::administrator);
        store().reject(u"first"_s, u"2"_s, u"It does not work."_s);
        store().remark(u"first"_s, u"2"_s, u"It is slow."_s);
        QVERIFY(installFirst());
        QCOMPARE(first(), installed(u"2"_s, Owner::user));
        store().remove(u"first"_s);
        QVERIFY(waitUntil([&] { return !first().isOwn; }));
        QCOMPARE(first().presence, Presence::unfit);
        QCOMPARE(first().problem, u"It does not work."_s);
        QCOMPARE(first().remark, u"It is slow."_s);
    }

    void aRemarkLastsUntilTheModelIsInstalledAnew() {
        QVERIFY(installFirst());
        store().remark(u"first"_s, u"2"_s, u"It is slow."_s);
        store().reject(u"first"_s, u"2"_s, u"It does not work."_s);
        QCOMPARE(first().remark, u"It is slow."_s);
        QVERIFY(installFirst());
        QCOMPARE(first(), installed(u"2"_s, Owner::user));
    }

    void aRemarkIsToldAndChangesNothingElse() {
        QVERIFY(installFirst());
        bool wasTold = false;
        store().addObserver([&](const QString &) { wasTold = wasTold || !first().remark.isEmpty(); });
        store().remark(u"first"_s, u"2"_s, u"It is slow."_s);
        ModelState remarkable = installed(u"2"_s, Owner::user);
        remarkable.remark = u"It is slow."_s;
        QCOMPARE(first(), remarkable);
        QVERIFY(waitUntil([&] { return wasTold; }));
        QVERIFY(store().use(u"first"_s));
        store().remark(u"first"_s, u"3"_s, u"It is gone."_s);
        QCOMPARE(first(), remarkable);
        store().remark(u"first"_s, u"2"_s, {});
        QCOMPARE(first(), installed(u"2"_s, Owner::user));
    }

    void anotherVersionThanTheRejectedOneServes() {
        m_harness->place(u"1"_s, Owner::user);
        store().reject(u"first"_s, u"2"_s, u"It does not work."_s);
        QCOMPARE(first().presence, Presence::installed);
        m_harness->place(u"2"_s, Owner::administrator);
        store().reject(u"first"_s, u"2"_s, u"It does not work."_s);
        QCOMPARE(first().presence, Presence::installed);
        QCOMPARE(first().version, u"1"_s);
    }

    void anOldVersionServesUntilTheNewOneIsThere() {
        m_harness->place(u"1"_s, Owner::user);
        QVERIFY(partOfFirstCame());
        QCOMPARE(first().presence, Presence::installed);
        QCOMPARE(first().version, u"1"_s);
        QCOMPARE(store().use(u"first"_s)->version(), u"1"_s);
        store().pause(u"first"_s);
        QVERIFY(installFirst());
        QCOMPARE(first().version, u"2"_s);
    }

    void anOldVersionStaysForThoseWhoUseIt() {
        m_harness->place(u"1"_s, Owner::user);
        const auto old = store().use(u"first"_s);
        QVERIFY(installFirst());
        QVERIFY(waitUntil([&] { return first().version == u"2"; }));
        QCOMPARE(store().use(u"first"_s)->version(), u"2"_s);
        QCOMPARE(old->version(), u"1"_s);
    }

    void aNewerVersionThanTheCatalogsIsKept() {
        m_harness->place(u"3"_s, Owner::administrator);
        store().install(u"first"_s);
        QVERIFY(!first().progress);
        QCOMPARE(first().version, u"3"_s);
    }

private:
    static ModelState installed(const QString &version, Owner owner) {
        ModelState state;
        state.presence = Presence::installed;
        state.version = version;
        state.isOwn = owner == Owner::user;
        return state;
    }

    platform::ModelStore &store() { return m_harness->store(); }
    platform::ModelState first() { return store().state(u"first"_s); }
    bool waitUntil(const std::function<bool()> &condition) { return m_harness->waitUntil(condition); }
    bool waitFor(Presence presence) {
        return waitUntil([&] { return first().presence == presence && !first().progress; });
    }
    bool installFirst() {
        m_harness->deliver(Delivery::everything);
        store().install(u"first"_s);
        return waitFor(Presence::installed);
    }
    bool partOfFirstCame() {
        m_harness->deliver(Delivery::part);
        store().install(u"first"_s);
        return waitUntil([&] { return first().progress && first().progress->receivedBytes > 0; });
    }

    const Subjects<ModelStoreHarness> m_subjects;
    std::unique_ptr<ModelStoreHarness> m_harness;
};

} // namespace quillora::test
