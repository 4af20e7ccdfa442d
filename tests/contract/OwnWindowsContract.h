#pragma once

#include "contract/Subjects.h"
#include "platform/OwnWindows.h"

#include <QTest>
#include <QWindow>

#include <memory>
#include <optional>

namespace quillora::test {

using namespace Qt::StringLiterals;

/// A desktop that places no windows itself, and a mouse on it.
class OwnWindowsHarness {
public:
    virtual ~OwnWindowsHarness() = default;

    virtual platform::OwnWindows &ownWindows() = 0;

    /// The user presses a mouse button and lets it go, where no window of ours is.
    virtual void press() = 0;
    virtual void turnTheWheel() = 0;

    /// Another program takes every event of the mouse for itself, as one does whose menu is open, and lets go
    /// of them.
    virtual void holdThePointerElsewhere() = 0;
    virtual void letThePointerGoElsewhere() = 0;

    /// Whether task bars and pagers are to show the window.
    virtual bool isInTaskBars(const QWindow &window) = 0;
};

/// What all keep to who let a program place its windows.
class OwnWindowsContract : public QObject {
    Q_OBJECT

public:
    explicit OwnWindowsContract(Subjects<OwnWindowsHarness> subjects) : m_subjects(std::move(subjects)) {}

private Q_SLOTS:
    void initTestCase_data() { m_subjects.announce(); }
    void init() {
        m_presses = 0;
        m_harness = m_subjects.harness();
    }
    void cleanup() {
        m_watch.reset();
        m_harness.reset();
    }

    void aWindowGoesWhereItIsPut() { QVERIFY(m_harness->ownWindows().canPlace()); }

    void aWindowStandsInTaskBars() {
        QWindow window;
        window.show();
        QVERIFY(QTest::qWaitForWindowExposed(&window));
        QVERIFY(m_harness->isInTaskBars(window));
    }

    void aWindowThatIsKeptOutOfTaskBarsIsNotInThemWhenItIsShown() {
        QWindow window;
        m_harness->ownWindows().keepOutOfTaskBars(window);
        window.show();
        QVERIFY(QTest::qWaitForWindowExposed(&window));
        QVERIFY(!m_harness->isInTaskBars(window));
    }

    void everyPressIsTold() {
        watch();
        m_harness->press();
        QTRY_COMPARE(m_presses, 1);
        m_harness->press();
        QTRY_COMPARE(m_presses, 2);
    }

    void aPressIsToldThatAnotherProgramTakes() {
        watch();
        m_harness->holdThePointerElsewhere();
        m_harness->press();
        QTRY_COMPARE(m_presses, 1);
        m_harness->letThePointerGoElsewhere();
    }

    void aTurnOfTheWheelIsNoPress() {
        watch();
        m_harness->turnTheWheel();
        m_harness->press(); // comes behind the wheel
        QTRY_VERIFY(m_presses > 0);
        QCOMPARE(m_presses, 1);
    }

    void afterTheEndOfAWatchNothingIsTold() {
        watch();
        m_watch.reset();
        int laterPresses = 0;
        m_watch = m_harness->ownWindows().watchPointer([&] { ++laterPresses; });
        m_harness->press();
        QTRY_COMPARE(laterPresses, 1);
        QCOMPARE(m_presses, 0);
    }

    void whoIsToldMayEndTheWatch() {
        bool wasTold = false;
        m_watch = m_harness->ownWindows().watchPointer([this, &wasTold] {
            m_watch.reset();
            wasTold = true; // what the call has is still there
        });
        m_harness->press();
        QTRY_VERIFY(wasTold);
    }

private:
    void watch() {
        m_watch = m_harness->ownWindows().watchPointer([this] { ++m_presses; });
    }

    std::unique_ptr<OwnWindowsHarness> m_harness;
    std::unique_ptr<platform::PointerWatch> m_watch;
    int m_presses = 0;
    Subjects<OwnWindowsHarness> m_subjects;
};

} // namespace quillora::test
