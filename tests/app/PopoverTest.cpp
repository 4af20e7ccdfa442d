#include "app/Popover.h"
#include "fakes/FakePlatform.h"

#include <QLabel>
#include <QLineEdit>
#include <QScreen>
#include <QScrollArea>
#include <QScrollBar>
#include <QSignalSpy>
#include <QTest>

using namespace Qt::StringLiterals;
using namespace quillora;
using namespace std::chrono_literals;

class PopoverTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init() {
        m_platform = std::make_unique<test::FakePlatform>();
        auto content = std::make_unique<QLabel>();
        content->setFixedSize(380, 500);
        m_content = content.get();
        m_popover = std::make_unique<Popover>(std::move(content));
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

    void beforeEachShowingItIsKeptOutOfTaskBars() {
        m_popover->showAttached({});
        m_popover->performClose();
        m_popover->showAttached({});
        QCOMPARE(m_platform->ownWindowsFake.timesKeptOutOfTaskBars, 2);
    }

    void itOpensBesideItsAnchor() {
        m_popover->showAttached(anchor());
        QCOMPARE(m_popover->pos(), underAnchor());
    }

    void whereTheDesktopPlacesWindowsItselfItIsNotMoved() {
        m_platform->ownWindowsFake.isPlacedByDesktop = true;
        m_popover->showAttached(anchor());
        QVERIFY(m_popover->isShown());
        QVERIFY(m_popover->pos() != underAnchor());
    }

    void thePointerIsWatchedOnlyWhileItIsOpen() {
        QVERIFY(!m_platform->ownWindowsFake.isPointerWatched());
        m_popover->showAttached({});
        QVERIFY(m_platform->ownWindowsFake.isPointerWatched());
        m_popover->performClose();
        QVERIFY(!m_platform->ownWindowsFake.isPointerWatched());
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

    void aPopoverStaysUnderADialogOfTheDesktop_data() {
        QTest::addColumn<QString>("frontmost");
        QTest::newRow("a keyring prompt") << u"Gcr-prompter"_s;
        QTest::newRow("a portal's dialog") << u"xdg-desktop-portal-gtk"_s;
    }
    void aPopoverStaysUnderADialogOfTheDesktop() {
        QFETCH(QString, frontmost);
        openAndLoseFocusTo(frontmost);
        m_platform->queue.advance(10s);
        QVERIFY(m_popover->isShown());
    }

    void aPopoverClosesThreeSecondsAfterADialogOfTheDesktop() {
        openAndLoseFocusTo(u"Gcr-prompter"_s);
        bringToFront(u"Mousepad"_s);
        m_platform->queue.advance(200ms + 3s - 1ms);
        QVERIFY(m_popover->isShown());
        m_platform->queue.advance(1ms);
        QVERIFY(!m_popover->isShown());
    }

    void aPopoverClosesThreeSecondsAfterADialogThatLeavesNobodyInFront() {
        openAndLoseFocusTo(u"Gcr-prompter"_s);
        m_platform->queue.advance(1s);
        m_platform->workspaceFake.frontmost.reset();
        m_platform->queue.advance(200ms + 3s - 1ms);
        QVERIFY(m_popover->isShown());
        m_platform->queue.advance(1ms);
        QVERIFY(!m_popover->isShown());
    }

    void aWindowThatComesUpAfterADialogOfTheDesktopDoesNotShortenTheThreeSeconds() {
        openAndLoseFocusTo(u"Gcr-prompter"_s);
        m_platform->workspaceFake.frontmost.reset();
        m_platform->queue.advance(200ms);
        bringToFront(u"Mousepad"_s);
        m_platform->queue.advance(3s - 1ms);
        QVERIFY(m_popover->isShown());
        m_platform->queue.advance(1ms);
        QVERIFY(!m_popover->isShown());
    }

    void aWindowThatComesUpOnItsWayBackToTheFrontClosesNothing() {
        openAndLoseFocus();
        bringToFront(u"Mousepad"_s);
        m_popover->returnToFront();
        m_platform->queue.advance(200ms);
        bringToFront(u"Thunar"_s);
        m_platform->queue.advance(2s);
        m_platform->workspaceFake.frontmost.reset();
        QTRY_VERIFY(m_popover->isActiveWindow());
        m_platform->queue.advance(10s);
        QVERIFY(m_popover->isShown());
    }

    void aPopoverClosesThreeSecondsAfterAnExpectedDialogThatNobodySaw() {
        m_popover->showAttached({});
        QVERIFY(QTest::qWaitForWindowActive(m_popover.get()));
        m_popover->expectSystemDialog();
        loseFocus();
        bringToFront(u"Mousepad"_s);
        m_platform->queue.advance(200ms + 3s - 1ms);
        QVERIFY(m_popover->isShown());
        m_platform->queue.advance(1ms);
        QVERIFY(!m_popover->isShown());
    }

    void anExpectedDialogThatNeverCameHoldsNothingOpen() {
        m_popover->showAttached({});
        QVERIFY(QTest::qWaitForWindowActive(m_popover.get()));
        m_popover->expectSystemDialog();
        m_popover->showAttached({}); // as when whoever asked for it has the answer
        loseFocus();
        bringToFront(u"Mousepad"_s);
        m_platform->queue.advance(200ms);
        QVERIFY(!m_popover->isShown());
    }

    void aPopoverThatIsShownAgainAfterADialogOfTheDesktopStays() {
        openAndLoseFocusTo(u"Gcr-prompter"_s);
        bringToFront(u"Mousepad"_s);
        m_platform->queue.advance(2s);
        m_platform->workspaceFake.frontmost.reset();
        m_popover->showAttached({});
        QTRY_VERIFY(m_popover->isActiveWindow());
        m_platform->queue.advance(10s);
        QVERIFY(m_popover->isShown());
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

    void aScreenWithoutRoomForTheContentScrollsIt() {
        const QRect screen = m_popover->screen()->availableGeometry();
        m_content->setFixedSize(380, screen.height() + 300);
        m_popover->showAttached(QRect(400, 0, 20, 20));
        QCOMPARE(m_popover->geometry().top(), 20);
        QCOMPARE(m_popover->geometry().bottom(), screen.bottom());
        QCOMPARE(m_popover->width(), 382);
        QCOMPARE(scroller()->verticalScrollBar()->maximum(), 322);
        QVERIFY(!m_content->visibleRegion().contains(lastPixel()));
        scroller()->verticalScrollBar()->setValue(322);
        QVERIFY(m_content->visibleRegion().contains(lastPixel()));
    }

    void theWindowScrollsThereTooAndLeavesRoomForItsTitle() {
        const QRect screen = m_popover->screen()->availableGeometry();
        m_content->setFixedSize(380, screen.height() + 300);
        m_popover->showAsWindow();
        QVERIFY(m_popover->height() < screen.height() - 10);
        QCOMPARE(m_popover->width(), 380);
    }

    void aContentThatFitsDoesNotScroll() {
        m_popover->showAttached({});
        QCOMPARE(scroller()->verticalScrollBar()->maximum(), 0);
        QCOMPARE(m_popover->size(), QSize(382, 502));
        QVERIFY(m_content->visibleRegion().contains(lastPixel()));
    }

    void aContentThatOutgrowsTheScreenBeginsToScrollAndEndsIt() {
        m_popover->showAttached(QRect(400, 0, 20, 20));
        const QRect screen = m_popover->screen()->availableGeometry();
        m_content->setFixedSize(380, screen.height() + 100);
        QTRY_COMPARE(m_popover->geometry().bottom(), screen.bottom());
        m_content->setFixedSize(380, 500);
        QTRY_COMPARE(m_popover->height(), 502);
        QTRY_COMPARE(scroller()->verticalScrollBar()->maximum(), 0);
    }

    void theFocusScrollsIntoView() {
        auto *first = new QLineEdit(m_content);
        auto *last = new QLineEdit(m_content);
        m_content->setFixedSize(380, 2000);
        last->move(0, 1900);
        m_popover->showAttached({});
        first->setFocus();
        QTest::keyClick(first, Qt::Key_Tab);
        QVERIFY(last->hasFocus() || m_popover->focusWidget() == last);
        QVERIFY(!last->visibleRegion().isEmpty());
    }

    void anIconOnAScreenThatIsGoneIsNoAnchor() {
        m_popover->showAttached(QRect(100000, 0, 20, 20));
        QVERIFY(m_popover->screen()->geometry().contains(m_popover->geometry()));
    }

    void aPopoverThatNeverGotTheFocusClosesWhenAnotherApplicationIsActivated() {
        m_popover->showAttached({});
        QVERIFY(QTest::qWaitForWindowActive(m_popover.get())); // so the toolkit says, and then nothing more
        m_platform->queue.advance(10s);
        QVERIFY(m_popover->isShown());
        bringToFront(u"Mousepad"_s);
        m_platform->queue.advance(200ms);
        QVERIFY(!m_popover->isShown());
    }

    void aClosedPopoverDoesNotFollowActivations() {
        m_popover->showAttached({});
        m_popover->performClose();
        QCOMPARE(m_platform->workspaceFake.observerCount(), 0);
    }

    void itMayEndWhileItWaitsForTheFocus() {
        openAndLoseFocus();
        m_popover.reset();
        m_platform->queue.advance(10s);
        QCOMPARE(m_platform->queue.delayedCount(), 0);
    }

private:
    /// In the middle of the upper edge.
    static QRect anchor() {
        const QRect screen = QGuiApplication::primaryScreen()->geometry();
        return {screen.center().x() - 12, screen.top(), 24, 24};
    }

    QPoint underAnchor() const {
        return {anchor().center().x() - m_popover->width() / 2, anchor().bottom() + 1};
    }

    void openAndLoseFocus() {
        m_popover->showAttached({});
        QVERIFY(QTest::qWaitForWindowActive(m_popover.get()));
        loseFocus();
    }
    void openAndLoseFocusTo(const QString &application) {
        openAndLoseFocus();
        bringToFront(application);
    }
    void bringToFront(const QString &application) {
        auto &workspace = m_platform->workspaceFake;
        workspace.bringToFront(workspace.launch(application));
    }

    QScrollArea *scroller() const { return m_popover->findChild<QScrollArea *>(); }
    QPoint lastPixel() const { return m_content->rect().bottomRight() - QPoint(20, 0); }

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
