#include "app/desktop/TrayStatusItem.h"

#include <QGuiApplication>
#include <QMenu>

namespace quillora {

TrayStatusItem::TrayStatusItem(const QDBusConnection &bus) : m_notifierItem(bus) {
    connect(&m_notifierItem, &StatusItem::activated, this, &StatusItem::activated);
    connect(&m_notifierItem, &NotifierStatusItem::watcherChanged, this, [this] {
        chooseTray();
        Q_EMIT hostChanged();
    });
}

void TrayStatusItem::setState(DictationState state, const QString &accessibilityDescription) {
    m_state = state;
    m_accessibilityDescription = accessibilityDescription;
    m_notifierItem.setState(state, accessibilityDescription);
    if (m_xembedItem)
        m_xembedItem->setState(state, accessibilityDescription);
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
    const bool isXEmbedWanted = m_state && QGuiApplication::platformName() == u"xcb" &&
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
    connect(m_xembedItem.get(), &StatusItem::activated, this, &StatusItem::activated);
    connect(m_xembedItem.get(), &StatusItem::hostChanged, this, &StatusItem::hostChanged);
    m_xembedItem->setState(*m_state, m_accessibilityDescription);
    m_xembedItem->setMenu(m_menu);
}

} // namespace quillora
