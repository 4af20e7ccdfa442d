#include "ui/ProgressLine.h"

#include "ui/PanelPalette.h"

#include <QPainter>
#include <QStyle>

namespace quillora {

namespace {
constexpr int lineHeight = 4;
}

ProgressLine::ProgressLine(QWidget *parent) : QProgressBar(parent) {
    setTextVisible(false);
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
    setPercent({});
}

void ProgressLine::setPercent(std::optional<int> percent) {
    setRange(0, percent ? 100 : 0);
    if (percent)
        setValue(*percent);
}

QSize ProgressLine::sizeHint() const { return {100, lineHeight}; }

QSize ProgressLine::minimumSizeHint() const { return {20, lineHeight}; }

void ProgressLine::paintEvent(QPaintEvent *) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    const QColor window = palette().color(QPalette::Window);
    const QColor accent = PanelPalette::accentText(palette());
    painter.setBrush(PanelPalette::blend(palette().color(QPalette::WindowText), window, 0.16));
    painter.drawRoundedRect(rect(), lineHeight / 2.0, lineHeight / 2.0);

    const bool isKnown = maximum() > 0;
    const int filled = isKnown ? width() * value() / maximum() : width() / 2;
    const QRect bar = QStyle::alignedRect(layoutDirection(), Qt::AlignLeft, {filled, height()}, rect());
    painter.setBrush(isKnown ? accent : PanelPalette::blend(accent, window, 0.4));
    painter.drawRoundedRect(bar, lineHeight / 2.0, lineHeight / 2.0);
}

} // namespace quillora
