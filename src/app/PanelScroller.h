#pragma once

#include <QScrollArea>

#include <memory>

namespace quillora {

class ThinScrollBar;

/// Shows its content as large as it wants to be, or, where there is no room for that, a part of it that
/// scrolls. What has the keyboard focus stays in view.
class PanelScroller : public QScrollArea {
    Q_OBJECT

public:
    explicit PanelScroller(std::unique_ptr<QWidget> content);

    /// How high it may become, in pixels.
    void setRoom(int height);

    QSize sizeHint() const override;

protected:
    bool eventFilter(QObject *watched, QEvent *event) override;
    void resizeEvent(QResizeEvent *event) override;

private:
    ThinScrollBar *m_bar; ///< lies on the content's margin, so that the content keeps its width
    int m_room = QWIDGETSIZE_MAX;
};

} // namespace quillora
