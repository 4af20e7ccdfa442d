#include "app/desktop/XEmbedStatusItem.h"

#include <QMenu>

namespace quillora {

XEmbedStatusItem::XEmbedStatusItem() {
    connect(&m_icon, &QSystemTrayIcon::activated, this, [this](QSystemTrayIcon::ActivationReason reason) {
        if (reason == QSystemTrayIcon::Trigger || reason == QSystemTrayIcon::MiddleClick)
            Q_EMIT activated();
    });
}

void XEmbedStatusItem::setImage(const QString &symbolName, const QString &accessibilityDescription) {
    m_icon.setIcon(m_images.icon(symbolName));
    m_icon.setToolTip(accessibilityDescription);
}

void XEmbedStatusItem::setMenu(QMenu *menu) { m_icon.setContextMenu(menu); }

bool XEmbedStatusItem::isHosted() const {
    return m_icon.isVisible() && QSystemTrayIcon::isSystemTrayAvailable();
}

std::optional<QRect> XEmbedStatusItem::anchor() const {
    const QRect geometry = m_icon.geometry();
    return isHosted() && geometry.isValid() ? std::optional(geometry) : std::nullopt;
}

} // namespace quillora
