#include "app/Popover.h"

#include "app/BringToFront.h"
#include "app/PanelPlacement.h"
#include "app/PanelScroller.h"
#include "app/SystemDialogs.h"
#include "platform/Platform.h"

#include <QApplication>
#include <QCloseEvent>
#include <QCursor>
#include <QEvent>
#include <QHideEvent>
#include <QPainter>
#include <QPointer>
#include <QScreen>
#include <QStyle>
#include <QVBoxLayout>

#include <utility>

namespace quillora {

using platform::Platform;

namespace {

/// A click on the status item takes the focus before it arrives; it must still find the popover open, or it
/// would open it again instead of closing it.
constexpr auto focusGracePeriod = std::chrono::milliseconds(200);

/// A dialog of the desktop goes before whoever had asked for it hears the answer and shows the popover again;
/// until then the window manager may have given the focus to any window.
constexpr auto returnGracePeriod = std::chrono::seconds(3);

/// What sets the popover off from the windows under it, in pixels.
constexpr int borderWidth = 1;

constexpr Qt::WindowFlags attachedWindowFlags =
    Qt::Tool | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint | Qt::NoDropShadowWindowHint;
constexpr Qt::WindowFlags ordinaryWindowFlags = Qt::Window | Qt::CustomizeWindowHint | Qt::WindowTitleHint |
                                                Qt::WindowSystemMenuHint | Qt::WindowMinimizeButtonHint |
                                                Qt::WindowCloseButtonHint;

} // namespace

Popover::Popover(std::unique_ptr<QWidget> content) : m_scroller(new PanelScroller(std::move(content))) {
    auto *layout = new QVBoxLayout(this);
    layout->setSizeConstraint(QLayout::SetFixedSize);
    layout->addWidget(m_scroller);
}

Popover::~Popover() { loseInterest(); }

/// What is open already is only brought to the front: it does not jump to another place.
void Popover::showAttached(const std::optional<QRect> &anchor) {
    if (!isVisible()) {
        m_anchor = anchor;
        m_pointer = QCursor::pos();
        adopt(Presentation::attached);
        place();
        winId();
        Platform::current().ownWindows().keepOutOfTaskBars(*windowHandle());
        watchForInterestElsewhere();
    }
    m_expectsDialog = false;
    bringToFront(*this);
}

void Popover::showAsWindow() {
    if (!isVisible()) {
        adopt(Presentation::window);
        fitWindowIntoScreen();
    }
    bringToFront(*this);
}

void Popover::showAsMinimisedWindow() {
    if (isVisible())
        return;
    adopt(Presentation::window);
    fitWindowIntoScreen();
    showMinimized();
}

void Popover::adopt(Presentation presentation) {
    if (m_presentation == presentation)
        return;
    m_presentation = presentation;
    setWindowFlags(isAttached() ? attachedWindowFlags : ordinaryWindowFlags);
    const int border = isAttached() ? borderWidth : 0;
    layout()->setContentsMargins(border, border, border, border);
}

void Popover::expectSystemDialog() { m_expectsDialog = isShown() && isAttached(); }

/// Window managers give the focus to the application before first, as after a dialog of the desktop.
void Popover::returnToFront() {
    if (!isShown())
        return;
    m_sawDialog = isAttached();
    bringToFront(*this);
}

void Popover::performClose() { close(); }

void Popover::place() {
    // An icon that was on a screen that is gone tells nothing.
    const QScreen *screen = m_anchor ? QGuiApplication::screenAt(m_anchor->center()) : nullptr;
    const auto anchor = screen ? m_anchor : std::nullopt;
    if (!screen)
        screen = QGuiApplication::screenAt(m_pointer);
    if (!screen)
        screen = QGuiApplication::primaryScreen();
    const QRect room = roomForPanel(anchor, screen->geometry(), screen->availableGeometry());
    m_scroller->setRoom(room.height() - 2 * borderWidth);
    adjustSize();
    if (Platform::current().ownWindows().canPlace())
        move(placePanel(size(), anchor, m_pointer, room).topLeft());
}

/// As a window it goes where the window manager puts it.
void Popover::fitWindowIntoScreen() {
    const int title = style()->pixelMetric(QStyle::PM_TitleBarHeight);
    m_scroller->setRoom(screen()->availableGeometry().height() - title);
    adjustSize();
}

/// A window manager may refuse it the focus; then nothing tells when the user turns to something else.
void Popover::watchForInterestElsewhere() {
    m_pointerWatch = Platform::current().ownWindows().watchPointer([this] {
        if (!QApplication::topLevelAt(QCursor::pos()))
            awaitFocus();
    });
    m_activationObserver =
        Platform::current().workspace().addActivationObserver([self = QPointer<Popover>(this)](const auto &) {
            if (self)
                self->awaitFocus();
        });
}

void Popover::loseInterest() {
    m_pointerWatch.reset();
    Platform::current().workspace().removeActivationObserver(std::exchange(m_activationObserver, 0));
    if (m_focusCheck)
        m_focusCheck->cancel();
    m_awaitsReturn = false;
    m_sawDialog = false;
    m_expectsDialog = false;
}

void Popover::changeEvent(QEvent *event) {
    QWidget::changeEvent(event);
    if (event->type() == QEvent::ActivationChange && isAttached() && isVisible() && !isActiveWindow())
        awaitFocus();
    // To the user a minimised panel is as gone as a closed one.
    if (event->type() == QEvent::WindowStateChange && isMinimized())
        Q_EMIT closed();
}

void Popover::awaitFocus() {
    // Looked for at once: the dialog may be gone when the focus is looked for.
    m_sawDialog = m_sawDialog || isUnderSystemDialog();
    // Any window may come up before the popover does; that leaves it the whole of its time.
    if (!m_awaitsReturn || m_sawDialog)
        awaitFocus(focusGracePeriod);
}

void Popover::awaitFocus(std::chrono::milliseconds patience) {
    m_awaitsReturn = patience == returnGracePeriod;
    if (m_focusCheck)
        m_focusCheck->cancel();
    m_focusCheck = Platform::current().mainQueue().asyncAfter(patience, [self = QPointer<Popover>(this)] {
        if (self)
            self->closeIfAbandoned();
    });
}

/// The toolkit takes itself for active as soon as it has asked for that, whatever the window manager says.
bool Popover::isAttended() const {
    const auto &workspace = Platform::current().workspace();
    const auto frontmost = workspace.frontmostApplication();
    const bool isElsewhere = frontmost && frontmost->bundleIdentifier() != workspace.mainBundleIdentifier();
    return isActiveWindow() && !isElsewhere;
}

bool Popover::isUnderSystemDialog() const {
    const auto frontmost = Platform::current().workspace().frontmostApplication();
    return frontmost && isSystemDialog(frontmost->bundleIdentifier().value_or(QString()));
}

void Popover::closeIfAbandoned() {
    m_awaitsReturn = false;
    if (!isVisible() || isAttended()) {
        m_sawDialog = false;
        return;
    }
    const bool expectedDialog = std::exchange(m_expectsDialog, false);
    const bool sawDialog = std::exchange(m_sawDialog, isUnderSystemDialog()) || expectedDialog;
    const bool isHeldOpen = m_sawDialog || QApplication::activePopupWidget() ||
                            QApplication::activeModalWidget() || (staysOpen && staysOpen());
    if (isHeldOpen)
        awaitFocus(focusGracePeriod);
    else if (sawDialog)
        awaitFocus(returnGracePeriod);
    else
        performClose();
}

void Popover::closeEvent(QCloseEvent *event) {
    const bool mustStay = !isAttached() && isOnlyWayIn && isOnlyWayIn();
    event->setAccepted(!mustStay);
    if (mustStay)
        showMinimized();
}

void Popover::hideEvent(QHideEvent *event) {
    QWidget::hideEvent(event);
    if (event->spontaneous())
        return;
    loseInterest();
    Q_EMIT closed();
}

void Popover::paintEvent(QPaintEvent *) {
    if (!isAttached())
        return;
    QPainter(this).fillRect(rect(), palette().color(QPalette::Mid));
}

/// The popover grows and shrinks with its content, but keeps to its anchor and to the screen.
void Popover::resizeEvent(QResizeEvent *event) {
    QWidget::resizeEvent(event);
    if (isAttached() && isVisible())
        place();
}

} // namespace quillora
