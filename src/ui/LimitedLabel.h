#pragma once

#include <QLabel>

namespace quillora {

/// A plain text of at most so many lines, and of any length. What does not fit ends in an ellipsis; the tool
/// tip and assistive technology have its first thousand characters.
class LimitedLabel : public QLabel {
    Q_OBJECT

public:
    explicit LimitedLabel(int maximumLines, QWidget *parent = nullptr);

    /// Keeps no more than is ever shown. Raises a name-changed accessibility event if that is another text.
    void setPlainText(const QString &text);

    void setMaximumLines(int lines);

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;
    bool hasHeightForWidth() const override;

protected:
    bool event(QEvent *event) override;
    void paintEvent(QPaintEvent *event) override;

private:
    QString shownText() const;
    bool isTruncated() const;

    int m_maximumLines;
};

} // namespace quillora
