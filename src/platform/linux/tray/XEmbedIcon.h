#pragma once

#include <QIcon>
#include <QMenu>
#include <QPointer>
#include <QRect>
#include <QWidget>

#include <cstdint>
#include <optional>

namespace quillora::platform {

/// The icon's window for one X11 tray, which takes it in. It goes with the tray.
///
/// The toolkit's connection must be one to an X server.
class XEmbedIcon final : public QWidget {
    Q_OBJECT

public:
    /// `hasAlpha`: the tray shows what lies beneath translucent pixels. Elsewhere they are blended here.
    explicit XEmbedIcon(bool hasAlpha);

    /// The X server's name for it.
    uint32_t window() const { return uint32_t(internalWinId()); }

    void setDrawing(const QIcon &drawing, const QString &accessibilityDescription);
    void setMenu(QMenu *menu) { m_menu = menu; }

    /// Call it once the tray has taken the window in, which until then would stand alone on the screen.
    void showWithinTray();

    /// On the screen, in the toolkit's measure; none where the X server does not say.
    std::optional<QRect> place() const;

Q_SIGNALS:
    void activated();

protected:
    void paintEvent(QPaintEvent *event) override;
    void mousePressEvent(QMouseEvent *event) override;
    void mouseDoubleClickEvent(QMouseEvent *event) override;
    void contextMenuEvent(QContextMenuEvent *event) override;

private:
    QPixmap whatLiesBeneath() const;

    const bool m_hasAlpha;
    QIcon m_drawing;
    QPointer<QMenu> m_menu;
};

} // namespace quillora::platform
