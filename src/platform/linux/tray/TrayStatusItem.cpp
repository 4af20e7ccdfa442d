#include "platform/linux/tray/TrayStatusItem.h"

#include <QGuiApplication>
#include <QMenu>

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
}

void TrayStatusItem::setIcon(const QString &name, const QIcon &drawing,
                             const QString &accessibilityDescription) {
    m_drawing = drawing;
    m_accessibilityDescription = accessibilityDescription;
    m_notifierItem.setIcon(name, drawing, accessibilityDescription);
    if (m_xembedItem)
        m_xembedItem->setIcon(drawing, accessibilityDescription);
    else
        chooseTray();
}

void TrayStatusItem::setMenu(QMenu *menu) {
    m_menu = menu;
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
    const bool isXEmbedWanted = !m_drawing.isNull() && QGuiApplication::platformName() == u"xcb" &&
                                m_notifierItem.watcher() == NotifierStatusItem::Watcher::absent;
    if (isXEmbedWanted) {
        if (!m_xembedItem)
            makeXEmbedItem();
        m_xembedItem->show();
    } else if (m_xembedItem) {
        m_xembedItem->hide();
    }
}

void TrayStatusItem::makeXEmbedItem() {
    m_xembedItem = std::make_unique<XEmbedStatusItem>();
    auto *item = m_xembedItem.get();
    QObject::connect(item, &XEmbedStatusItem::activated, item, [this] { m_listener.activated(); });
    QObject::connect(item, &XEmbedStatusItem::hostChanged, item, [this] { m_listener.hostChanged(); });
    m_xembedItem->setIcon(m_drawing, m_accessibilityDescription);
    m_xembedItem->setMenu(m_menu);
}

} // namespace quillora::platform
