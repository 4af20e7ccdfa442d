#include "ui/StatusDot.h"

#include <QPainter>

namespace quillora {

StatusDot::StatusDot(QWidget *parent) : QWidget(parent) { setFixedSize(8, 8); }

void StatusDot::setColor(const QColor &color) {
    if (m_color == color)
        return;
    m_color = color;
    update();
}

void StatusDot::paintEvent(QPaintEvent *) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.setBrush(m_color);
    painter.drawEllipse(rect());
}

} // namespace quillora
