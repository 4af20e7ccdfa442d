#pragma once

#include "platform/StatusItem.h"
#include "platform/linux/tray/NotifierStatusItem.h"
#include "platform/linux/tray/XEmbedStatusItem.h"

#include <optional>

namespace quillora::platform {

/// The status item in whatever tray this desktop has at the moment: a StatusNotifierItem where something
/// collects those, an X11 tray window elsewhere.
class TrayStatusItem final : public StatusItem {
public:
    TrayStatusItem(const QDBusConnection &bus, StatusItemListener listener);

    void setIcon(const QString &name, const QIcon &drawing, const QString &accessibilityDescription) override;
    void setMenu(QMenu *menu) override;
    bool isHosted() const override;
    std::optional<QRect> anchor() const override;

private:
    void chooseTray();

    const StatusItemListener m_listener;
    NotifierStatusItem m_notifierItem;
    std::optional<XEmbedStatusItem> m_xembedItem; ///< none where the desktop is not X11
};

} // namespace quillora::platform
