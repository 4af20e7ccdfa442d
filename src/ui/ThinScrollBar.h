#pragma once

#include <QScrollBar>

namespace quillora {

/// A vertical scroll bar that is no more than a handle, and nothing where all is in view. The handle may be
/// dragged; a press beside it takes it there.
class ThinScrollBar : public QScrollBar {
    Q_OBJECT

public:
    explicit ThinScrollBar(QWidget *parent = nullptr);

    QSize sizeHint() const override;

protected:
    void mousePressEvent(QMouseEvent *event) override;
    void mouseMoveEvent(QMouseEvent *event) override;
    void mouseReleaseEvent(QMouseEvent *event) override;
    void paintEvent(QPaintEvent *event) override;

private:
    QRect handle() const;

    int m_grip = 0; ///< where the handle is held, below its top
};

} // namespace quillora
