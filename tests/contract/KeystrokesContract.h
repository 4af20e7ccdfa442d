#pragma once

#include "contract/Subjects.h"
#include "platform/Keystrokes.h"
#include "support/ChildProcess.h"

#include <QTest>

#include <memory>

namespace quillora::test {

/// A program that has the keyboard focus, and takes pastes.
class KeystrokesHarness {
public:
    virtual ~KeystrokesHarness() = default;

    virtual platform::Keystrokes &keystrokes() = 0;

    /// How many pastes it has been asked for.
    virtual int pasteCount() = 0;

    /// The session does not let us synthesise keystrokes any more.
    virtual void withdrawTrust() = 0;

    /// Returns once every keystroke has arrived.
    virtual void settle() = 0;
};

/// What every implementation of Keystrokes does where it is trusted.
class KeystrokesContract : public QObject {
    Q_OBJECT

public:
    explicit KeystrokesContract(Subjects<KeystrokesHarness> subjects) : m_subjects(std::move(subjects)) {}

private Q_SLOTS:
    void initTestCase_data() { m_subjects.announce(); }
    void init() {
        m_outcomes.clear();
        m_harness = m_subjects.harness();
    }
    void cleanup() { m_harness.reset(); }

    void trustIsThereWithAndWithoutAsking() {
        QVERIFY(keystrokes().isTrusted());
        QVERIFY(keystrokes().isTrustedWithPrompt());
    }

    void theChordPastesOnce() {
        post();
        QTRY_COMPARE(m_harness->pasteCount(), 1);
    }

    void twoChordsPasteTwice() {
        post();
        post();
        QTRY_COMPARE(m_harness->pasteCount(), 2);
    }

    void theOutcomeIsToldOnce() {
        post();
        QTRY_COMPARE(m_outcomes, QList{true});
        m_harness->settle();
        QCOMPARE(m_outcomes, QList{true});
    }

    void theConditionIsAskedBeforeTheKeysArePressed() {
        QList<int> pastesBefore;
        postIf([&] {
            m_harness->settle();
            pastesBefore += m_harness->pasteCount();
            return true;
        });
        QTRY_COMPARE(m_harness->pasteCount(), 1);
        QCOMPARE(pastesBefore, QList{0});
    }

    void nothingIsPressedUnlessTheConditionHolds() {
        postIf([] { return false; });
        QTRY_COMPARE(m_outcomes, QList{false});
        m_harness->settle();
        QCOMPARE(m_harness->pasteCount(), 0);
    }

    void trustThatIsWithdrawnIsNoticed() {
        int notices = 0;
        keystrokes().setTrustObserver([&] { ++notices; });
        m_harness->withdrawTrust();
        QTRY_COMPARE(notices, 1);
        QVERIFY(!keystrokes().isTrusted());
        QVERIFY(!keystrokes().isTrustedWithPrompt());
    }

    void nobodyIsToldOfItOnceTheWatchHasEnded() {
        int notices = 0;
        keystrokes().setTrustObserver([&] { ++notices; });
        keystrokes().setTrustObserver({});
        m_harness->withdrawTrust();
        QTRY_VERIFY(!keystrokes().isTrusted());
        QCoreApplication::processEvents();
        QCOMPARE(notices, 0);
    }

    void nothingIsPostedIfTrustWasWithdrawn() {
        m_harness->withdrawTrust();
        QTRY_VERIFY(!keystrokes().isTrusted());
        post();
        QTRY_COMPARE(m_outcomes, QList{false});
        QCOMPARE(m_harness->pasteCount(), 0);
    }

private:
    platform::Keystrokes &keystrokes() { return m_harness->keystrokes(); }
    void post() {
        postIf([] { return true; });
    }
    void postIf(const platform::Keystrokes::Condition &condition) {
        keystrokes().postPasteChord(condition, [this](bool isPosted) { m_outcomes += isPosted; });
    }

    Subjects<KeystrokesHarness> m_subjects;
    std::unique_ptr<KeystrokesHarness> m_harness;
    QList<bool> m_outcomes;
};

} // namespace quillora::test
