#include "app/Popover.h"

#include "app/PanelPlacement.h"
#include "app/desktop/TaskBars.h"
#include "platform/Platform.h"

#include <QApplication>
#include <QCursor>
#include <QEvent>
#include <QHideEvent>
#include <QPainter>
#include <QScreen>
#include <QVBoxLayout>

namespace quillora {

namespace {

/// A click on the status item takes the focus before it arrives; it must still find the popover open, or it
/// would open it again instead of closing it.
constexpr auto focusGracePeriod = std::chrono::milliseconds(200);

/// What sets the popover off from the windows under it, in pixels.
constexpr int borderWidth = 1;

constexpr Qt::WindowFlags attachedWindowFlags =
    Qt::Tool | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint | Qt::NoDropShadowWindowHint;
constexpr Qt::WindowFlags ordinaryWindowFlags = Qt::Window | Qt::CustomizeWindowHint | Qt::WindowTitleHint |
                                                Qt::WindowSystemMenuHint | Qt::WindowMinimizeButtonHint |
                                                Qt::WindowCloseButtonHint;

} // namespace

Popover::Popover(std::unique_ptr<QWidget> content) {
    auto *layout = new QVBoxLayout(this);
    layout->setSizeConstraint(QLayout::SetFixedSize);
    layout->addWidget(content.release());
}

Popover::~Popover() {
    if (m_focusCheck)
        m_focusCheck->cancel();
}

void Popover::showAttached(const std::optional<QRect> &anchor) {
    if (!isVisible()) {
        m_anchor = anchor;
        m_pointer = QCursor::pos();
    }
    present(Presentation::attached);
}

void Popover::showAsWindow() { present(Presentation::window); }

/// What is open already is only brought to the front: it does not jump to another place.
void Popover::present(Presentation presentation) {
    if (!isVisible() && m_presentation != presentation) {
        m_presentation = presentation;
        setWindowFlags(isAttached() ? attachedWindowFlags : ordinaryWindowFlags);
        const int border = isAttached() ? borderWidth : 0;
        layout()->setContentsMargins(border, border, border, border);
    }
    if (!isVisible() && isAttached()) {
        place();
        winId();
        keepOutOfTaskBars(*windowHandle());
    }
    setWindowState(windowState() & ~Qt::WindowMinimized);
    show();
    raise();
    activateWindow();
}

void Popover::performClose() { close(); }

void Popover::place() {
    const QPoint reference = m_anchor ? m_anchor->center() : m_pointer;
    const QScreen *screen = QGuiApplication::screenAt(reference);
    if (!screen)
        screen = QGuiApplication::primaryScreen();
    adjustSize();
    move(placePanel(size(), m_anchor, m_pointer, screen->availableGeometry()).topLeft());
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
    if (m_focusCheck)
        m_focusCheck->cancel();
    m_focusCheck = platform::Platform::current().mainQueue().asyncAfter(focusGracePeriod,
                                                                        [self = QPointer<Popover>(this)] {
                                                                            if (self)
                                                                                self->closeIfAbandoned();
                                                                        });
}

void Popover::closeIfAbandoned() {
    if (!isVisible() || isActiveWindow())
        return;
    const bool isHeldOpen =
        QApplication::activePopupWidget() || QApplication::activeModalWidget() || (staysOpen && staysOpen());
    if (isHeldOpen)
        awaitFocus();
    else
        performClose();
}

void Popover::hideEvent(QHideEvent *event) {
    QWidget::hideEvent(event);
    if (event->spontaneous())
        return;
    if (m_focusCheck)
        m_focusCheck->cancel();
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
