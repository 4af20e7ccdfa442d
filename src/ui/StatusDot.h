#pragma once

#include <QColor>
#include <QWidget>

namespace quillora {

/// A small filled circle whose colour tells what the program is doing.
class StatusDot : public QWidget {
    Q_OBJECT

public:
    explicit StatusDot(QWidget *parent = nullptr);

    const QColor &color() const { return m_color; }
    void setColor(const QColor &color);

protected:
    void paintEvent(QPaintEvent *event) override;

private:
    QColor m_color;
};

} // namespace quillora
