#include "platform/linux/tray/XEmbedIcon.h"

#include "platform/linux/X11Reply.h"
#include "platform/linux/X11ToolkitConnection.h"
#include "platform/linux/tray/TrayGeometry.h"

#include <QContextMenuEvent>
#include <QPainter>
#include <QScreen>

#include <array>

namespace quillora::platform {

namespace {

constexpr QSize sizeUntilTheTrayGivesOne(22, 22);

/// Tells the tray whether to map the window, as _XEMBED_INFO of the XEmbed Protocol does.
void askToBeMapped(xcb_window_t window, bool isMapped) {
    auto *xcb = toolkitConnection();
    const auto info = atomOf("_XEMBED_INFO");
    const std::array<uint32_t, 2> versionAndFlags{0, isMapped ? 1u : 0u};
    xcb_change_property(xcb, XCB_PROP_MODE_REPLACE, window, info, info, 32, versionAndFlags.size(),
                        versionAndFlags.data());
}

} // namespace

XEmbedIcon::XEmbedIcon(bool hasAlpha)
    : QWidget(nullptr, Qt::Window | Qt::FramelessWindowHint | Qt::BypassWindowManagerHint),
      m_hasAlpha(hasAlpha) {
    setAttribute(Qt::WA_QuitOnClose, false);
    setAttribute(Qt::WA_AlwaysShowToolTips);
    setAttribute(Qt::WA_TranslucentBackground, hasAlpha);
    setFocusPolicy(Qt::NoFocus);
    setMinimumSize(sizeUntilTheTrayGivesOne);
    resize(sizeUntilTheTrayGivesOne);
    createWinId();
    askToBeMapped(window(), false); // the toolkit takes it amiss when others do before `show`
}

void XEmbedIcon::setDrawing(const QIcon &drawing, const QString &accessibilityDescription) {
    m_drawing = drawing;
    setToolTip(accessibilityDescription);
    setAccessibleName(accessibilityDescription);
    update();
}

void XEmbedIcon::showWithinTray() {
    if (!m_hasAlpha) {
        const uint32_t back = XCB_BACK_PIXMAP_PARENT_RELATIVE;
        xcb_change_window_attributes(toolkitConnection(), window(), XCB_CW_BACK_PIXMAP, &back);
    }
    askToBeMapped(window(), true);
    show();
}

/// The toolkit's own answer is of the window's last event, and none tells it that the tray has moved.
std::optional<QRect> XEmbedIcon::place() const {
    auto *xcb = toolkitConnection();
    const auto question = xcb_translate_coordinates(xcb, window(), toolkitScreen()->root, 0, 0);
    const X11Reply<xcb_translate_coordinates_reply_t> corner(
        xcb_translate_coordinates_reply(xcb, question, nullptr));
    return corner ? std::optional(QRect(fromDevicePixels({corner->dst_x, corner->dst_y}), size()))
                  : std::nullopt;
}

void XEmbedIcon::paintEvent(QPaintEvent *) {
    QPainter painter(this);
    if (!m_hasAlpha)
        painter.drawPixmap(rect(), whatLiesBeneath());
    m_drawing.paint(&painter, rect());
}

/// What the tray draws where its icons let it through.
QPixmap XEmbedIcon::whatLiesBeneath() const {
    xcb_clear_area(toolkitConnection(), 0, window(), 0, 0, 0, 0);
    return screen()->grabWindow(window());
}

void XEmbedIcon::mousePressEvent(QMouseEvent *event) {
    if (event->button() == Qt::LeftButton || event->button() == Qt::MiddleButton)
        Q_EMIT activated();
}

/// Whoever clicks twice by habit wants what one click gives.
void XEmbedIcon::mouseDoubleClickEvent(QMouseEvent *) {}

void XEmbedIcon::contextMenuEvent(QContextMenuEvent *event) {
    if (m_menu)
        m_menu->popup(event->globalPos());
}

} // namespace quillora::platform
