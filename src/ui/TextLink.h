#pragma once

#include <QAbstractButton>

namespace quillora {

/// A line of text that leads somewhere: a click, Space and Enter follow it. What does not fit ends in an
/// ellipsis. Assistive technology knows it as a link, by its accessible name.
class TextLink : public QAbstractButton {
    Q_OBJECT

public:
    explicit TextLink(QWidget *parent = nullptr);

    /// Any text; "&" is one, too. It takes the place of the toolkit's.
    const QString &plainText() const { return m_plainText; }
    void setPlainText(const QString &text);

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

protected:
    void keyPressEvent(QKeyEvent *event) override;
    void paintEvent(QPaintEvent *event) override;

private:
    QString m_plainText;
};

} // namespace quillora
