#pragma once

#include "contract/Subjects.h"
#include "platform/ModelStore.h"

#include <QObject>

#include <functional>
#include <memory>
#include <utility>

namespace quillora::test {

/// A store whose catalog has the models "first" and "second", in version "2", and what befalls them.
class ModelStoreHarness {
public:
    virtual ~ModelStoreHarness() = default;

    virtual platform::ModelStore &store() = 0;

    /// Turns the event loop until it is so; false if it never is.
    virtual bool waitUntil(const std::function<bool()> &condition) = 0;

    /// What becomes of models that are asked for from now on: nothing comes, part of it, all of it; or it is
    /// refused.
    enum class Delivery { nothing, part, everything, refusal };
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

public:
    explicit ModelStoreContract(Subjects<ModelStoreHarness> subjects) : m_subjects(std::move(subjects)) {}

private Q_SLOTS:
    void initTestCase_data() { m_subjects.announce(); }
    void init();
    void cleanup();

    void theModelsOfTheCatalogComeInItsOrderAndAreAbsent();
    void aModelThatNobodyKnowsIsAnError_data();
    void aModelThatNobodyKnowsIsAnError();
    void aModelIsInstalledInTheVersionOfTheCatalog();
    void observersAreToldFromTheEventLoopOnly();
    void anObserverThatWasRemovedIsNotTold();
    void modelsAreInstalledInTheOrderInWhichTheyWereAskedFor();
    void progressTellsHowFarItIs();
    void whatIsOnItsWayIsNotInstalledTwice();
    void whatIsInstalledWholeIsNotInstalledAgain();
    void aPausedModelKeepsWhatCameUntilItIsAskedFor();
    void whatWaitsAndIsPausedHasNothingToGoOnWith();
    void aCancelledModelForgetsWhatCame();
    void aPausedModelCanBeCancelled();
    void theNextModelComesWhenTheOneBeforeIsPaused();
    void nothingEndsWhereNothingIsOnItsWay();
    void aFailureIsToldAndTheNextModelComes();
    void whoAsksAgainIsNotToldOfTheOldFailure();
    void whatIsInstalledCanBeUsed();
    void whatIsNotInstalledCannotBeUsed();
    void aRemovedModelIsAbsent();
    void removalWaitsForTheLastUser();
    void whatIsAskedForWhileItLeavesStays();
    void removalEndsTheInstallation();
    void whatIsNotThereIsRemovedWithoutAWord();
    void theModelOfAnAdministratorStays();
    void anOwnModelIsTakenBeforeTheSameOfAnAdministrator();
    void aCheckFindsWhatIsDamaged();
    void aCheckOfAWholeModelFindsNothing();
    void aDamagedModelIsRepaired();
    void anOldVersionServesUntilTheNewOneIsThere();
    void anOldVersionStaysForThoseWhoUseIt();
    void aNewerVersionThanTheCatalogsIsKept();

private:
    using Delivery = ModelStoreHarness::Delivery;
    using Owner = ModelStoreHarness::Owner;

    platform::ModelStore &store() { return m_harness->store(); }
    platform::ModelState first() { return store().state(u"first"_qs); }
    bool waitUntil(const std::function<bool()> &condition) { return m_harness->waitUntil(condition); }
    bool waitFor(platform::ModelState::Presence presence);
    bool installFirst();
    bool partOfFirstCame();

    const Subjects<ModelStoreHarness> m_subjects;
    std::unique_ptr<ModelStoreHarness> m_harness;
};

} // namespace quillora::test
