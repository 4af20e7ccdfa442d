#include "ui/PickerMark.h"

#include "ui/SymbolIcon.h"

#include <QPainter>
#include <QStyle>

namespace quillora {

namespace {

constexpr qreal ringWidth = 2;

} // namespace

PickerMark::PickerMark(Picker &picker, QWidget *parent) : QWidget(parent), m_picker(picker) {
    setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Preferred);
    connect(&picker, &Picker::markChanged, this, &PickerMark::showMark);
    showMark();
}

void PickerMark::showMark() {
    setToolTip(m_picker.mark().help);
    updateGeometry();
    update();
}

QSize PickerMark::sizeHint() const {
    const Picker::Mark mark = m_picker.mark();
    return {mark.symbol.isEmpty() ? 0 : Picker::markSize, Picker::markSize};
}

void PickerMark::paintEvent(QPaintEvent *) {
    QPainter painter(this);
    const Picker::Mark mark = m_picker.mark();
    const QSize size(Picker::markSize, Picker::markSize);
    const QRect square = QStyle::alignedRect(layoutDirection(), Qt::AlignCenter, size, rect());
    if (mark.percent)
        paintRing(painter, square, *mark.percent);
    else if (!mark.symbol.isEmpty())
        SymbolIcon::paint(painter, mark.symbol, square, palette().color(foregroundRole()));
}

/// It closes clockwise, from the top.
void PickerMark::paintRing(QPainter &painter, const QRect &square, int percent) const {
    constexpr int sixteenthsOfTurn = 16 * 360;
    const QRectF ring = QRectF(square).adjusted(ringWidth, ringWidth, -ringWidth, -ringWidth);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(QPen(palette().color(QPalette::Mid), ringWidth));
    painter.drawEllipse(ring);
    painter.setPen(QPen(palette().color(QPalette::Highlight), ringWidth, Qt::SolidLine, Qt::FlatCap));
    painter.drawArc(ring, sixteenthsOfTurn / 4, -percent * sixteenthsOfTurn / 100);
}

} // namespace quillora
