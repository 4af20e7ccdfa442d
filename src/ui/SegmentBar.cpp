#include "ui/SegmentBar.h"

#include "ui/FieldFrame.h"
#include "ui/PanelPalette.h"

#include <QPainter>

#include <algorithm>

namespace quillora {

namespace {
constexpr int textMargin = 16;
constexpr int barHeight = 30;
} // namespace

SegmentBar::SegmentBar(QWidget *parent) : QTabBar(parent) {
    setDrawBase(false);
    setExpanding(false);
    setElideMode(Qt::ElideNone);
    setUsesScrollButtons(false);
    setAttribute(Qt::WA_Hover);
    setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
}

QSize SegmentBar::tabSizeHint(int) const {
    int widest = 0;
    for (int i = 0; i < count(); ++i)
        widest = std::max(widest, fontMetrics().horizontalAdvance(tabText(i)));
    return {widest + 2 * textMargin, std::max(barHeight, fontMetrics().height() + 12)};
}

QSize SegmentBar::minimumTabSizeHint(int index) const { return tabSizeHint(index); }

void SegmentBar::paintEvent(QPaintEvent *) {
    QPainter painter(this);
    const QPalette &colors = palette();
    const QColor ground = colors.color(QPalette::Window);
    const QColor ink = colors.color(QPalette::Active, QPalette::WindowText);
    const QColor outline = colors.color(QPalette::Mid);
    FieldFrame::paint(painter, rect(), PanelPalette::blend(ink, ground, 0.05), outline);
    const bool showsFocus = hasFocus() && window()->testAttribute(Qt::WA_KeyboardFocusChange);
    for (int i = 0; i < count(); ++i) {
        const bool isCurrent = i == currentIndex();
        if (isCurrent)
            FieldFrame::paint(painter, tabRect(i), colors.color(QPalette::Active, QPalette::Button),
                              showsFocus ? colors.color(QPalette::Highlight) : outline, showsFocus ? 2 : 1);
        painter.setPen(isCurrent ? ink : colors.color(QPalette::PlaceholderText));
        painter.drawText(tabRect(i), Qt::AlignCenter | Qt::TextSingleLine, tabText(i));
    }
}

} // namespace quillora
