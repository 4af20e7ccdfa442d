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

    void setState(DictationState state, const QString &accessibilityDescription) override;
    void setMenu(QMenu *menu) override;
    bool isHosted() const override;
    std::optional<QRect> anchor() const override;

private:
    void chooseTray();
    void makeXEmbedItem();

    NotifierStatusItem m_notifierItem;
    std::unique_ptr<XEmbedStatusItem> m_xembedItem; ///< made when it is first needed
    std::optional<DictationState> m_state;          ///< none until it was first set
    QString m_accessibilityDescription;
    QPointer<QMenu> m_menu;
};

} // namespace quillora
