#pragma once

#include "contract/Subjects.h"
#include "platform/Workspace.h"
#include "support/ChildProcess.h"

#include <QTest>

#include <memory>

namespace quillora::test {

using namespace Qt::StringLiterals;

/// A desktop on which the user runs programs; they are named by the order of their start.
class WorkspaceHarness {
public:
    virtual ~WorkspaceHarness() = default;

    virtual platform::Workspace &workspace() = 0;

    /// Starts a program, which comes to the front.
    virtual size_t launch(const std::optional<QString> &identifier) = 0;

    /// Starts a window of the program under test, which comes to the front.
    virtual size_t launchOwn() = 0;

    virtual void bringToFront(size_t program) = 0;
    virtual void end(size_t program) = 0;
    virtual bool isInFront(size_t program) const = 0;
};

/// What every implementation of Workspace does.
class WorkspaceContract : public QObject {
    Q_OBJECT

public:
    explicit WorkspaceContract(Subjects<WorkspaceHarness> subjects) : m_subjects(std::move(subjects)) {}

private Q_SLOTS:
    void initTestCase_data() { m_subjects.announce(); }
    void init() {
        m_activated.clear();
        m_outcomes.clear();
        m_harness = m_subjects.harness();
    }
    void cleanup() { m_harness.reset(); }

    void nothingIsInFrontOfAnEmptyDesktop() { QVERIFY(!workspace().frontmostApplication()); }

    void theProgramInFrontIsTheFrontmostApplication() {
        m_harness->launch(u"Editor"_s);
        m_harness->launch(u"Mail"_s);
        QCOMPARE(frontmostIdentifier(), std::optional(u"Mail"_s));
    }

    void aProgramNeedNotHaveAnIdentifier() {
        m_harness->launch(std::nullopt);
        QVERIFY(workspace().frontmostApplication());
        QVERIFY(!workspace().frontmostApplication()->bundleIdentifier());
    }

    void ourOwnWindowsBearOurIdentifier() {
        m_harness->launchOwn();
        QVERIFY(workspace().mainBundleIdentifier());
        QCOMPARE(frontmostIdentifier(), workspace().mainBundleIdentifier());
    }

    void everyActivationIsTold() {
        observe();
        const auto editor = m_harness->launch(u"Editor"_s);
        m_harness->launch(u"Mail"_s);
        m_harness->launchOwn();
        m_harness->bringToFront(editor);
        QTRY_COMPARE(m_activated,
                     (QStringList{u"Editor"_s, u"Mail"_s, *workspace().mainBundleIdentifier(), u"Editor"_s}));
    }

    void everyObserverIsTold() {
        observe();
        observe();
        m_harness->launch(u"Editor"_s);
        QTRY_COMPARE(m_activated, (QStringList{u"Editor"_s, u"Editor"_s}));
    }

    void observersAreToldApart() {
        const auto first = observe();
        const auto second = observe();
        QVERIFY(first != 0 && second != 0 && first != second);
    }

    void aRemovedObserverIsToldNothing() {
        const auto removed = observe();
        int told = 0;
        workspace().addActivationObserver([&](const platform::RunningApplicationHandle &) { ++told; });
        workspace().removeActivationObserver(removed);
        m_harness->launch(u"Editor"_s);
        QTRY_COMPARE(told, 1);
        QVERIFY(m_activated.isEmpty());
    }

    void anObserverMayRemoveTheOnesAfterIt() {
        platform::Workspace::ObserverToken second = 0;
        int told = 0;
        workspace().addActivationObserver([&](const platform::RunningApplicationHandle &) {
            ++told;
            workspace().removeActivationObserver(second);
        });
        second = observe();
        m_harness->launch(u"Editor"_s);
        QTRY_COMPARE(told, 1);
        QVERIFY(m_activated.isEmpty());
    }

    void activatingBringsToTheFront() {
        const auto editor = m_harness->launch(u"Editor"_s);
        const auto application = workspace().frontmostApplication();
        m_harness->launch(u"Mail"_s);
        application->activate({});
        QVERIFY(ChildProcess::waitUntil([&] { return m_harness->isInFront(editor); }));
        QCOMPARE(frontmostIdentifier(), std::optional(u"Editor"_s));
    }

    void activatingTellsOnceThatItIsInFront() {
        const auto editor = m_harness->launch(u"Editor"_s);
        const auto application = workspace().frontmostApplication();
        m_harness->launch(u"Mail"_s);
        application->activate(note());
        QTRY_COMPARE(m_outcomes, QList{true});
        QVERIFY(m_harness->isInFront(editor));
        m_harness->launch(u"Browser"_s);
        QCOMPARE(m_outcomes, QList{true});
    }

    void activatingWhatIsInFrontAlreadyTellsSoToo() {
        m_harness->launch(u"Editor"_s);
        workspace().frontmostApplication()->activate(note());
        QTRY_COMPARE(m_outcomes, QList{true});
    }

    void activatingAProgramThatHasEndedTellsThatItIsNotInFront() {
        const auto editor = m_harness->launch(u"Editor"_s);
        const auto application = workspace().frontmostApplication();
        m_harness->launch(u"Mail"_s);
        m_harness->end(editor);
        application->activate(note());
        QTRY_COMPARE(m_outcomes, QList{false});
    }

    void yieldingTheFocusTakesItFromNoOtherProgram() {
        const auto editor = m_harness->launch(u"Editor"_s);
        workspace().yieldFocus();
        QVERIFY(m_harness->isInFront(editor));
    }

    void anActivationThatWasAskedForIsToldToo() {
        m_harness->launch(u"Editor"_s);
        const auto application = workspace().frontmostApplication();
        m_harness->launch(u"Mail"_s);
        observe();
        application->activate({});
        QTRY_VERIFY(m_activated.contains(u"Editor"_s));
    }

    void aProgramThatHasEndedKeepsItsIdentifierAndStaysAway() {
        const auto editor = m_harness->launch(u"Editor"_s);
        const auto application = workspace().frontmostApplication();
        const auto mail = m_harness->launch(u"Mail"_s);
        m_harness->end(editor);
        application->activate({});
        QCOMPARE(application->bundleIdentifier(), std::optional(u"Editor"_s));
        QVERIFY(m_harness->isInFront(mail));
    }

private:
    platform::Workspace &workspace() { return m_harness->workspace(); }

    std::optional<QString> frontmostIdentifier() {
        const auto application = workspace().frontmostApplication();
        return application ? application->bundleIdentifier() : std::nullopt;
    }

    platform::Workspace::ObserverToken observe() {
        return workspace().addActivationObserver(
            [this](const platform::RunningApplicationHandle &application) {
                m_activated += application->bundleIdentifier().value_or(QString());
            });
    }

    platform::RunningApplication::Outcome note() {
        return [this](bool isInFront) { m_outcomes += isInFront; };
    }

    Subjects<WorkspaceHarness> m_subjects;
    std::unique_ptr<WorkspaceHarness> m_harness;
    QStringList m_activated;
    QList<bool> m_outcomes;
};

} // namespace quillora::test
