#pragma once

#include <QProgressBar>

#include <optional>

namespace quillora {

/// A thin line that fills up. Where it is not known how far something is, it is half full and faint.
class ProgressLine : public QProgressBar {
    Q_OBJECT

public:
    explicit ProgressLine(QWidget *parent = nullptr);

    /// From 0 to 100; none if it is not known.
    void setPercent(std::optional<int> percent);

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

protected:
    void paintEvent(QPaintEvent *event) override;
};

} // namespace quillora
