#include "platform/linux/tray/TrayStatusItem.h"

#include "platform/linux/X11ToolkitConnection.h"

#include <utility>

namespace quillora::platform {

TrayStatusItem::TrayStatusItem(const QDBusConnection &bus, StatusItemListener listener)
    : m_listener(std::move(listener)), m_notifierItem(bus) {
    QObject::connect(&m_notifierItem, &NotifierStatusItem::activated, &m_notifierItem,
                     [this] { m_listener.activated(); });
    QObject::connect(&m_notifierItem, &NotifierStatusItem::watcherChanged, &m_notifierItem, [this] {
        chooseTray();
        m_listener.hostChanged();
    });
    if (!toolkitConnection())
        return;
    auto *item = &m_xembedItem.emplace();
    QObject::connect(item, &XEmbedStatusItem::activated, item, [this] { m_listener.activated(); });
    QObject::connect(item, &XEmbedStatusItem::hostChanged, item, [this] { m_listener.hostChanged(); });
    chooseTray();
}

void TrayStatusItem::setIcon(const QString &name, const QIcon &drawing,
                             const QString &accessibilityDescription) {
    m_notifierItem.setIcon(name, drawing, accessibilityDescription);
    if (m_xembedItem)
        m_xembedItem->setIcon(drawing, accessibilityDescription);
}

void TrayStatusItem::setMenu(QMenu *menu) {
    m_notifierItem.setMenu(menu);
    if (m_xembedItem)
        m_xembedItem->setMenu(menu);
}

bool TrayStatusItem::isHosted() const {
    return m_notifierItem.isHosted() || (m_xembedItem && m_xembedItem->isHosted());
}

std::optional<QRect> TrayStatusItem::anchor() const {
    return m_notifierItem.isHosted() || !m_xembedItem ? m_notifierItem.anchor() : m_xembedItem->anchor();
}

void TrayStatusItem::chooseTray() {
    if (m_xembedItem)
        m_xembedItem->setWanted(m_notifierItem.watcher() == NotifierStatusItem::Watcher::absent);
}

} // namespace quillora::platform
