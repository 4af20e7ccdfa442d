#pragma once

#include "app/StatusIconSet.h"
#include "app/StatusItem.h"

#include <QSystemTrayIcon>

namespace quillora {

/// The status item as a window inside an X11 tray. It docks whenever a tray comes up.
///
/// Make one only while no StatusNotifierWatcher is on the bus: the toolkit asks for that once, and would
/// speak StatusNotifierItem itself for the rest of the run.
class XEmbedStatusItem : public StatusItem {
    Q_OBJECT

public:
    XEmbedStatusItem();

    void setImage(const QString &symbolName, const QString &accessibilityDescription) override;
    void setMenu(QMenu *menu) override;
    bool isHosted() const override;
    std::optional<QRect> anchor() const override;

    void show() { m_icon.show(); }
    void hide() { m_icon.hide(); }

private:
    StatusIconSet m_images;
    QSystemTrayIcon m_icon;
};

} // namespace quillora
