#pragma once

#include "app/StatusItem.h"
#include "app/desktop/NotifierStatusItem.h"
#include "app/desktop/XEmbedStatusItem.h"

#include <QPointer>

namespace quillora {

/// The status item in whatever tray this desktop has at the moment: a StatusNotifierItem where something
/// collects those, an X11 tray window elsewhere.
class TrayStatusItem : public StatusItem {
    Q_OBJECT

public:
    explicit TrayStatusItem(const QDBusConnection &bus);

    void setImage(const QString &symbolName, const QString &accessibilityDescription) override;
    void setMenu(QMenu *menu) override;
    bool isHosted() const override;
    std::optional<QRect> anchor() const override;

private:
    void chooseTray();
    void makeXEmbedItem();

    NotifierStatusItem m_notifierItem;
    std::unique_ptr<XEmbedStatusItem> m_xembedItem; ///< made when it is first needed
    QString m_symbolName;
    QString m_accessibilityDescription;
    QPointer<QMenu> m_menu;
};

} // namespace quillora
