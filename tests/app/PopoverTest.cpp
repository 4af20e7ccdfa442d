#include "app/Popover.h"
#include "fakes/FakePlatform.h"

#include <QLabel>
#include <QSignalSpy>
#include <QTest>

using namespace quillora;
using namespace std::chrono_literals;

class PopoverTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init() {
        m_platform = std::make_unique<test::FakePlatform>();
        m_content = new QLabel;
        m_content->setFixedSize(380, 500);
        m_popover = std::make_unique<Popover>(m_content);
        m_other = std::make_unique<QWidget>();
    }
    void cleanup() {
        m_popover.reset();
        m_other.reset();
        m_platform.reset();
    }

    void itIsShownAndClosedAnyNumberOfTimes() {
        QSignalSpy closes(m_popover.get(), &Popover::closed);
        for (int i = 1; i <= 3; ++i) {
            m_popover->showAttached({});
            QVERIFY(m_popover->isShown());
            m_popover->performClose();
            QVERIFY(!m_popover->isShown());
            QCOMPARE(closes.count(), i);
        }
    }

    void aPopoverClosesOnceTheFocusIsElsewhere() {
        openAndLoseFocus();
        QVERIFY(m_popover->isShown());
        m_platform->queue.advance(200ms);
        QVERIFY(!m_popover->isShown());
    }

    void aPopoverThatGetsTheFocusBackStays() {
        openAndLoseFocus();
        m_platform->queue.advance(100ms);
        m_popover->activateWindow();
        QTRY_VERIFY(m_popover->isActiveWindow());
        m_platform->queue.advance(10s);
        QVERIFY(m_popover->isShown());
    }

    void aPopoverThatIsHeldOpenClosesOnceItIsNotAnyMore() {
        bool isHeld = true;
        m_popover->staysOpen = [&] { return isHeld; };
        openAndLoseFocus();
        m_platform->queue.advance(10s);
        QVERIFY(m_popover->isShown());
        isHeld = false;
        m_platform->queue.advance(200ms);
        QVERIFY(!m_popover->isShown());
    }

    void aPopoverStaysWhileADialogOfItsOwnIsUp() {
        m_popover->showAttached({});
        QVERIFY(QTest::qWaitForWindowActive(m_popover.get()));
        m_other->setWindowModality(Qt::ApplicationModal);
        m_other->show();
        QVERIFY(QTest::qWaitForWindowActive(m_other.get()));
        m_platform->queue.advance(10s);
        QVERIFY(m_popover->isShown());
    }

    void aWindowStaysWithoutTheFocus() {
        m_popover->showAsWindow();
        QVERIFY(QTest::qWaitForWindowActive(m_popover.get()));
        loseFocus();
        m_platform->queue.advance(10s);
        QVERIFY(m_popover->isShown());
    }

    void aFocusThatWasLostBeforeTheClosingClosesNothingLater() {
        openAndLoseFocus();
        m_popover->performClose();
        m_popover->showAttached({});
        QVERIFY(QTest::qWaitForWindowActive(m_popover.get()));
        m_platform->queue.advance(10s);
        QVERIFY(m_popover->isShown());
    }

    void whatIsOpenIsNotMovedByBeingShownAgain() {
        m_popover->showAttached(QRect(100, 0, 20, 20));
        const QRect before = m_popover->geometry();
        m_popover->showAttached(QRect(600, 0, 20, 20));
        QCOMPARE(m_popover->geometry(), before);
        m_popover->showAsWindow();
        QCOMPARE(m_popover->geometry(), before);
        QVERIFY(m_popover->windowFlags().testFlag(Qt::FramelessWindowHint));
    }

    void aGrowingPopoverKeepsToItsAnchor() {
        m_popover->showAttached(QRect(400, 780, 20, 20));
        const int bottom = m_popover->geometry().bottom();
        m_content->setFixedSize(380, 560);
        QTRY_COMPARE(m_popover->height(), 562);
        QTRY_COMPARE(m_popover->geometry().bottom(), bottom);
    }

    void itMayEndWhileItWaitsForTheFocus() {
        openAndLoseFocus();
        m_popover.reset();
        m_platform->queue.advance(10s);
        QCOMPARE(m_platform->queue.delayedCount(), 0);
    }

private:
    void openAndLoseFocus() {
        m_popover->showAttached({});
        QVERIFY(QTest::qWaitForWindowActive(m_popover.get()));
        loseFocus();
    }

    void loseFocus() {
        m_other->show();
        m_other->activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(m_other.get()));
    }

    std::unique_ptr<test::FakePlatform> m_platform;
    std::unique_ptr<Popover> m_popover;
    QWidget *m_content = nullptr; ///< owned by the popover
    std::unique_ptr<QWidget> m_other;
};

QTEST_MAIN(PopoverTest)

#include "PopoverTest.moc"
