#include "platform/linux/tray/XEmbedStatusItem.h"

#include "platform/linux/X11Reply.h"
#include "platform/linux/X11ToolkitConnection.h"

#include <QCoreApplication>

#include <cstring>
#include <utility>

namespace quillora::platform {

namespace {

constexpr uint32_t requestDock = 0;

/// Lets the toolkit's connection hear of what becomes of the window, beside what it hears already. False if
/// the window is gone.
bool watch(xcb_window_t window) {
    auto *xcb = toolkitConnection();
    const X11Reply<xcb_get_window_attributes_reply_t> now(
        xcb_get_window_attributes_reply(xcb, xcb_get_window_attributes(xcb, window), nullptr));
    if (!now)
        return false;
    const uint32_t events = now->your_event_mask | XCB_EVENT_MASK_STRUCTURE_NOTIFY;
    const auto change = xcb_change_window_attributes_checked(xcb, window, XCB_CW_EVENT_MASK, &events);
    return !X11Reply<xcb_generic_error_t>(xcb_request_check(xcb, change));
}

} // namespace

XEmbedStatusItem::XEmbedStatusItem()
    : m_selection(atomOf("_NET_SYSTEM_TRAY_S0")), m_manager(atomOf("MANAGER")) {
    m_meeting.setSingleShot(true);
    m_meeting.callOnTimeout([this] { meetTray(); });
    watch(toolkitScreen()->root);
    qApp->installNativeEventFilter(this);
}

void XEmbedStatusItem::setIcon(const QIcon &drawing, const QString &accessibilityDescription) {
    const bool isFirst = m_drawing.isNull();
    m_drawing = drawing;
    m_accessibilityDescription = accessibilityDescription;
    if (m_icon)
        m_icon->setDrawing(drawing, accessibilityDescription);
    else if (isFirst)
        meetTray();
}

void XEmbedStatusItem::setMenu(QMenu *menu) {
    m_menu = menu;
    if (m_icon)
        m_icon->setMenu(menu);
}

std::optional<QRect> XEmbedStatusItem::anchor() const { return m_isHosted ? m_icon->place() : std::nullopt; }

void XEmbedStatusItem::setWanted(bool isWanted) {
    m_isWanted = isWanted;
    meetTray();
}

bool XEmbedStatusItem::nativeEventFilter(const QByteArray &eventType, void *message, qintptr *) {
    if (eventType != "xcb_generic_event_t" || !message)
        return false;
    const auto *event = static_cast<const xcb_generic_event_t *>(message);
    switch (event->response_type & 0x7f) {
    case XCB_CLIENT_MESSAGE: {
        const auto *told = reinterpret_cast<const xcb_client_message_event_t *>(event);
        if (told->type == m_manager && told->data.data32[1] == m_selection)
            m_meeting.start(0);
        break;
    }
    case XCB_DESTROY_NOTIFY:
        if (m_tray != XCB_NONE &&
            reinterpret_cast<const xcb_destroy_notify_event_t *>(event)->window == m_tray) {
            m_tray = XCB_NONE; // even if the next one's window is called the same
            m_meeting.start(0);
        }
        break;
    case XCB_REPARENT_NOTIFY: {
        const auto *moved = reinterpret_cast<const xcb_reparent_notify_event_t *>(event);
        if (m_icon && moved->window == m_icon->window())
            QTimer::singleShot(
                0, m_icon.get(),
                [this, isWithinTray = moved->parent != toolkitScreen()->root] { setHosted(isWithinTray); });
        break;
    }
    default:
        break;
    }
    return false;
}

void XEmbedStatusItem::meetTray() {
    const xcb_window_t tray = m_isWanted && !m_drawing.isNull() ? trayOnScreen() : XCB_NONE;
    if (tray != XCB_NONE && tray == m_tray)
        return;
    const bool wasHosted = std::exchange(m_isHosted, false);
    m_icon.reset();
    m_tray = XCB_NONE;
    if (tray != XCB_NONE && watch(tray))
        dock(tray);
    if (wasHosted)
        Q_EMIT hostChanged();
}

void XEmbedStatusItem::dock(xcb_window_t tray) {
    m_tray = tray;
    m_icon = std::make_unique<XEmbedIcon>(hasAlpha(tray));
    m_icon->setDrawing(m_drawing, m_accessibilityDescription);
    m_icon->setMenu(m_menu);
    connect(m_icon.get(), &XEmbedIcon::activated, this, &XEmbedStatusItem::activated);

    xcb_client_message_event_t request{};
    request.response_type = XCB_CLIENT_MESSAGE;
    request.format = 32;
    request.window = tray;
    request.type = atomOf("_NET_SYSTEM_TRAY_OPCODE");
    request.data.data32[0] = XCB_CURRENT_TIME;
    request.data.data32[1] = requestDock;
    request.data.data32[2] = m_icon->window();
    auto *xcb = toolkitConnection();
    xcb_send_event(xcb, 0, tray, XCB_EVENT_MASK_NO_EVENT, reinterpret_cast<const char *>(&request));
    xcb_flush(xcb);
}

void XEmbedStatusItem::setHosted(bool isHosted) {
    if (isHosted)
        m_icon->showWithinTray();
    else
        m_icon->hide();
    if (std::exchange(m_isHosted, isHosted) != isHosted)
        Q_EMIT hostChanged();
}

xcb_window_t XEmbedStatusItem::trayOnScreen() const {
    auto *xcb = toolkitConnection();
    const X11Reply<xcb_get_selection_owner_reply_t> answer(
        xcb_get_selection_owner_reply(xcb, xcb_get_selection_owner(xcb, m_selection), nullptr));
    return answer ? answer->owner : XCB_NONE;
}

/// Which visual its icons are to have it tells by a property.
bool XEmbedStatusItem::hasAlpha(xcb_window_t tray) const {
    auto *xcb = toolkitConnection();
    const auto question =
        xcb_get_property(xcb, 0, tray, atomOf("_NET_SYSTEM_TRAY_VISUAL"), XCB_ATOM_VISUALID, 0, 1);
    const X11Reply<xcb_get_property_reply_t> answer(xcb_get_property_reply(xcb, question, nullptr));
    if (!answer || answer->format != 32 || xcb_get_property_value_length(answer.get()) < 4)
        return false;
    xcb_visualid_t wanted;
    std::memcpy(&wanted, xcb_get_property_value(answer.get()), sizeof wanted);
    for (auto depth = xcb_screen_allowed_depths_iterator(toolkitScreen()); depth.rem > 0;
         xcb_depth_next(&depth)) {
        const auto *visuals = xcb_depth_visuals(depth.data);
        for (int i = 0; i < xcb_depth_visuals_length(depth.data); ++i) {
            if (visuals[i].visual_id == wanted)
                return depth.data->depth == 32;
        }
    }
    return false;
}

} // namespace quillora::platform
