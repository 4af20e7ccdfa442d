#pragma once

#include "app/StatusIconSet.h"
#include "app/StatusItem.h"

#include <QAbstractNativeEventFilter>
#include <QSystemTrayIcon>
#include <QTimer>

namespace quillora {

/// The status item as a window inside an X11 tray. It docks whenever a tray comes up.
///
/// Make one only while no StatusNotifierWatcher is on the bus: the toolkit asks for that once, and would
/// speak StatusNotifierItem itself for the rest of the run.
class XEmbedStatusItem : public StatusItem, public QAbstractNativeEventFilter {
    Q_OBJECT

public:
    XEmbedStatusItem();

    void setState(DictationState state, const QString &accessibilityDescription) override;
    void setMenu(QMenu *menu) override;
    bool isHosted() const override;
    std::optional<QRect> anchor() const override;

    void show() { m_icon.show(); }
    void hide() { m_icon.hide(); }

    bool nativeEventFilter(const QByteArray &eventType, void *message, qintptr *result) override;

private:
    StatusIconSet m_images;
    QSystemTrayIcon m_icon;
    QTimer m_trayCheck; ///< once the toolkit has taken notice
    bool m_wasHosted = false;
};

} // namespace quillora
