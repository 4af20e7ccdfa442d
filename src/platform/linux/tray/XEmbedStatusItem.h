#pragma once

#include "platform/linux/tray/XEmbedIcon.h"

#include <QAbstractNativeEventFilter>
#include <QTimer>

#include <memory>

namespace quillora::platform {

/// The status item as a window inside an X11 tray. It docks whenever a tray comes up, by the System Tray
/// Protocol 0.3 of freedesktop.org.
///
/// The toolkit's connection must be one to an X server. Its own icon decides once, by a question over the bus
/// that it waits for, which kind of tray it speaks to for the rest of the run: where a StatusNotifier tray
/// was just restarting, there were two icons in that and none in any X11 tray later.
class XEmbedStatusItem final : public QObject, public QAbstractNativeEventFilter {
    Q_OBJECT

public:
    XEmbedStatusItem();

    void setIcon(const QIcon &drawing, const QString &accessibilityDescription);
    void setMenu(QMenu *menu);

    /// A tray has taken the icon in.
    bool isHosted() const { return m_isHosted; }
    std::optional<QRect> anchor() const;

    /// Whether it is to stand in a tray, which it does once it has a drawing.
    void setWanted(bool isWanted);

    bool nativeEventFilter(const QByteArray &eventType, void *message, qintptr *result) override;

Q_SIGNALS:
    void activated();

    /// `isHosted` is another.
    void hostChanged();

private:
    void meetTray();
    void dock(uint32_t tray);
    void setHosted(bool isHosted);

    uint32_t trayOnScreen() const;
    bool hasAlpha(uint32_t tray) const;

    uint32_t m_selection; ///< whose owner is the tray
    uint32_t m_manager;   ///< the message that tells of a new one
    bool m_isWanted = false;
    uint32_t m_tray = 0; ///< none if 0
    std::unique_ptr<XEmbedIcon> m_icon;
    bool m_isHosted = false;
    QTimer m_meeting; ///< after the event that gives reason to
    QIcon m_drawing;
    QString m_accessibilityDescription;
    QPointer<QMenu> m_menu;
};

} // namespace quillora::platform
