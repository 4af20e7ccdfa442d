#include "ui/PanelButton.h"

#include "ui/FieldFrame.h"
#include "ui/PanelPalette.h"
#include "ui/SymbolIcon.h"

#include <QKeyEvent>
#include <QPainter>
#include <QStyle>

#include <algorithm>

namespace quillora {

namespace {

constexpr int largeHeight = 36;
constexpr int borderedWidth = 42; ///< a 26 pixel symbol frame and its margins
constexpr int borderlessSize = 24;
constexpr int compactHeight = 26;
constexpr int compactMargin = 10; ///< beside the text
constexpr int symbolTextGap = 8;

int symbolSize(PanelButton::Look look) { return look == PanelButton::Look::borderless ? 16 : 18; }

} // namespace

PanelButton::PanelButton(Look look, QWidget *parent) : QPushButton(parent), m_look(look) {
    setAttribute(Qt::WA_Hover);
    setSizePolicy(look == Look::prominent ? QSizePolicy::Expanding : QSizePolicy::Fixed, QSizePolicy::Fixed);
}

void PanelButton::setSymbol(const QString &name) {
    if (m_symbol == name)
        return;
    m_symbol = name;
    update();
}

void PanelButton::setHelpText(const QString &text) {
    if (toolTip() == text)
        return;
    setToolTip(text);
    setAccessibleName(text);
}

void PanelButton::setSurfaceColor(const QColor &color) {
    if (m_surfaceColor == color)
        return;
    m_surfaceColor = color;
    update();
}

QSize PanelButton::sizeHint() const {
    switch (m_look) {
    case Look::borderless:
        return {borderlessSize, borderlessSize};
    case Look::compact:
        return {fontMetrics().horizontalAdvance(text()) + 2 * compactMargin,
                std::max(compactHeight, fontMetrics().height() + 8)};
    case Look::bordered:
    case Look::prominent:
        return {text().isEmpty() ? borderedWidth : contentWidth() + 3 * symbolTextGap,
                std::max(largeHeight, fontMetrics().height() + 16)};
    }
    Q_UNREACHABLE();
}

QSize PanelButton::minimumSizeHint() const { return sizeHint(); }

int PanelButton::contentWidth() const {
    const int symbol = m_symbol.isEmpty() ? 0 : symbolSize(m_look);
    const int gap = m_symbol.isEmpty() || text().isEmpty() ? 0 : symbolTextGap;
    return symbol + gap + fontMetrics().horizontalAdvance(text());
}

void PanelButton::keyPressEvent(QKeyEvent *event) {
    const bool isEnter = event->key() == Qt::Key_Return || event->key() == Qt::Key_Enter;
    if (!isEnter)
        return QPushButton::keyPressEvent(event);
    event->accept();
    if (!event->isAutoRepeat())
        click();
}

/// Only for those who use the keyboard, as native controls do.
bool PanelButton::showsFocus() const {
    return hasFocus() && window()->testAttribute(Qt::WA_KeyboardFocusChange);
}

QColor PanelButton::surface() const {
    const QPalette &colors = palette();
    const QColor window = colors.color(QPalette::Window);
    const QColor ink = colors.color(QPalette::Active, QPalette::ButtonText);
    if (m_look == Look::prominent) {
        const QColor filled =
            m_surfaceColor.isValid() ? m_surfaceColor : colors.color(QPalette::Active, QPalette::Highlight);
        if (!isEnabled())
            return PanelPalette::blend(ink, window, 0.12);
        if (isDown())
            return PanelPalette::blend(Qt::black, filled, 0.2);
        return underMouse() ? PanelPalette::blend(PanelPalette::textOn(filled), filled, 0.1) : filled;
    }
    const bool isFramed = m_look != Look::borderless;
    const QColor resting = isFramed ? colors.color(QPalette::Active, QPalette::Button) : window;
    if (!isEnabled())
        return isFramed ? PanelPalette::blend(resting, window, 0.4) : resting;
    if (isDown())
        return PanelPalette::blend(ink, resting, 0.18);
    return underMouse() ? PanelPalette::blend(ink, resting, 0.08) : resting;
}

QColor PanelButton::foreground() const {
    if (!isEnabled())
        return PanelPalette::blend(palette().color(QPalette::Active, QPalette::WindowText),
                                   palette().color(QPalette::Window), 0.38);
    if (m_look == Look::prominent)
        return PanelPalette::textOn(surface());
    return palette().color(m_look == Look::borderless ? QPalette::PlaceholderText : QPalette::ButtonText);
}

void PanelButton::paintSurface(QPainter &painter) const {
    const QColor outline = palette().color(QPalette::Mid);
    const QColor ring = palette().color(QPalette::Highlight);
    switch (m_look) {
    case Look::borderless:
        FieldFrame::paint(painter, rect(), surface(), ring, showsFocus() ? 2 : 0);
        break;
    case Look::compact:
    case Look::bordered:
        FieldFrame::paint(painter, rect(), surface(), showsFocus() ? ring : outline, showsFocus() ? 2 : 1);
        break;
    case Look::prominent:
        FieldFrame::paint(painter, rect(), surface(), outline, 0);
        if (showsFocus())
            FieldFrame::paint(painter, rect().adjusted(3, 3, -3, -3), Qt::transparent, foreground(), 1.5);
        break;
    }
}

void PanelButton::paintContent(QPainter &painter) const {
    const int symbolEdge = symbolSize(m_look);
    const int textWidth = fontMetrics().horizontalAdvance(text());
    const QRect content =
        QStyle::alignedRect(layoutDirection(), Qt::AlignCenter, {contentWidth(), height()}, rect());
    const QRect symbolRect = QStyle::alignedRect(layoutDirection(), Qt::AlignLeft | Qt::AlignVCenter,
                                                 {symbolEdge, symbolEdge}, content);
    const QRect textRect = QStyle::alignedRect(layoutDirection(), Qt::AlignRight | Qt::AlignVCenter,
                                               {textWidth, height()}, content);
    if (!m_symbol.isEmpty())
        SymbolIcon::paint(painter, m_symbol, symbolRect, foreground());
    painter.setPen(foreground());
    painter.drawText(textRect, Qt::AlignCenter | Qt::TextSingleLine, text());
}

void PanelButton::paintEvent(QPaintEvent *) {
    QPainter painter(this);
    paintSurface(painter);
    paintContent(painter);
}

} // namespace quillora
