#pragma once

#include <QAbstractNativeEventFilter>
#include <QSystemTrayIcon>
#include <QTimer>

#include <optional>

namespace quillora::platform {

/// The status item as a window inside an X11 tray. It docks whenever a tray comes up.
///
/// Make one only while no StatusNotifierWatcher is on the bus: the toolkit asks for that once, and would
/// speak StatusNotifierItem itself for the rest of the run.
class XEmbedStatusItem final : public QObject, public QAbstractNativeEventFilter {
    Q_OBJECT

public:
    XEmbedStatusItem();

    void setIcon(const QIcon &drawing, const QString &accessibilityDescription);
    void setMenu(QMenu *menu) { m_icon.setContextMenu(menu); }
    bool isHosted() const;
    std::optional<QRect> anchor() const;

    void show() { m_icon.show(); }
    void hide() { m_icon.hide(); }

    bool nativeEventFilter(const QByteArray &eventType, void *message, qintptr *result) override;

Q_SIGNALS:
    void activated();

    /// `isHosted` is another.
    void hostChanged();

private:
    QSystemTrayIcon m_icon;
    QTimer m_trayCheck; ///< once the toolkit has taken notice
    bool m_wasHosted = false;
};

} // namespace quillora::platform
