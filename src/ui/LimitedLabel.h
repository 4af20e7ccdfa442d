#pragma once

#include <QLabel>

namespace quillora {

/// A plain text of at most so many lines. What does not fit ends in an ellipsis and shows in full as a tool
/// tip; assistive technology always gets the whole.
class LimitedLabel : public QLabel {
    Q_OBJECT

public:
    explicit LimitedLabel(int maximumLines, QWidget *parent = nullptr);

    /// Raises a name-changed accessibility event if the text is another one.
    void setPlainText(const QString &text);

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;
    bool hasHeightForWidth() const override;

protected:
    bool event(QEvent *event) override;
    void paintEvent(QPaintEvent *event) override;

private:
    bool isTruncated() const;

    int m_maximumLines;
};

} // namespace quillora
