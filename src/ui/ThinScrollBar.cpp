#include "ui/ThinScrollBar.h"

#include "ui/PanelPalette.h"

#include <QMouseEvent>
#include <QPainter>

#include <algorithm>

namespace quillora {

namespace {
constexpr int barWidth = 10;
constexpr int handleWidth = 4;
constexpr int minimumHandleLength = 12;
constexpr int margin = 3; ///< at both ends
} // namespace

ThinScrollBar::ThinScrollBar(QWidget *parent) : QScrollBar(Qt::Vertical, parent) {
    setAttribute(Qt::WA_OpaquePaintEvent, false);
    setAttribute(Qt::WA_Hover);
}

QSize ThinScrollBar::sizeHint() const { return {barWidth, QScrollBar::sizeHint().height()}; }

QRect ThinScrollBar::handle() const {
    const int range = maximum() - minimum();
    const int track = height() - 2 * margin;
    if (range <= 0 || track <= minimumHandleLength)
        return {};
    const int length = std::max(minimumHandleLength, track * pageStep() / (range + pageStep()));
    const int top = margin + (track - length) * (value() - minimum()) / range;
    return {(width() - handleWidth) / 2, top, handleWidth, length};
}

void ThinScrollBar::mousePressEvent(QMouseEvent *event) {
    if (event->button() != Qt::LeftButton)
        return;
    const QRect held = handle();
    const int y = event->position().toPoint().y();
    const bool isOnHandle = y >= held.top() && y <= held.bottom();
    m_grip = isOnHandle ? y - held.top() : held.height() / 2;
    setSliderDown(true);
    mouseMoveEvent(event);
}

void ThinScrollBar::mouseMoveEvent(QMouseEvent *event) {
    const int free = height() - 2 * margin - handle().height();
    if (!isSliderDown() || free <= 0)
        return;
    const int top = event->position().toPoint().y() - m_grip - margin;
    setValue(minimum() + qRound(double(maximum() - minimum()) * std::clamp(top, 0, free) / free));
}

void ThinScrollBar::mouseReleaseEvent(QMouseEvent *event) {
    if (event->button() == Qt::LeftButton)
        setSliderDown(false);
}

void ThinScrollBar::paintEvent(QPaintEvent *) {
    if (handle().isEmpty())
        return;
    const double strength = underMouse() || isSliderDown() ? 0.9 : 0.6;
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.setBrush(PanelPalette::blend(palette().color(QPalette::PlaceholderText),
                                         palette().color(QPalette::Base), strength));
    painter.drawRoundedRect(handle(), handleWidth / 2.0, handleWidth / 2.0);
}

} // namespace quillora
