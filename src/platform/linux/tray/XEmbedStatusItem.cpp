#include "platform/linux/tray/XEmbedStatusItem.h"

#include <QCoreApplication>

#include <utility>
#include <xcb/xcb.h>

namespace quillora::platform {

XEmbedStatusItem::XEmbedStatusItem() {
    m_trayCheck.setSingleShot(true);
    m_trayCheck.callOnTimeout([this] {
        if (std::exchange(m_wasHosted, isHosted()) != m_wasHosted)
            Q_EMIT hostChanged();
    });
    qApp->installNativeEventFilter(this);
    connect(&m_icon, &QSystemTrayIcon::activated, this, [this](QSystemTrayIcon::ActivationReason reason) {
        if (reason == QSystemTrayIcon::Trigger || reason == QSystemTrayIcon::MiddleClick)
            Q_EMIT activated();
    });
}

void XEmbedStatusItem::setIcon(const QIcon &drawing, const QString &accessibilityDescription) {
    m_icon.setIcon(drawing);
    m_icon.setToolTip(accessibilityDescription);
}

bool XEmbedStatusItem::isHosted() const {
    return m_icon.isVisible() && QSystemTrayIcon::isSystemTrayAvailable();
}

/// The toolkit does not say so when a tray comes, which is a message, or when its window goes.
bool XEmbedStatusItem::nativeEventFilter(const QByteArray &eventType, void *message, qintptr *) {
    if (eventType != "xcb_generic_event_t" || !message)
        return false;
    const int type = static_cast<const xcb_generic_event_t *>(message)->response_type & 0x7f;
    if (type == XCB_CLIENT_MESSAGE || type == XCB_DESTROY_NOTIFY)
        m_trayCheck.start(0);
    return false;
}

std::optional<QRect> XEmbedStatusItem::anchor() const {
    const QRect geometry = m_icon.geometry();
    return isHosted() && geometry.isValid() ? std::optional(geometry) : std::nullopt;
}

} // namespace quillora::platform
