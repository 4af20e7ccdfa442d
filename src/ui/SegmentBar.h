#pragma once

#include <QTabBar>

namespace quillora {

/// Tabs of equal width in one frame.
class SegmentBar : public QTabBar {
    Q_OBJECT

public:
    explicit SegmentBar(QWidget *parent = nullptr);

    QSize minimumTabSizeHint(int index) const override;
    QSize tabSizeHint(int index) const override;

protected:
    void paintEvent(QPaintEvent *event) override;
};

} // namespace quillora
