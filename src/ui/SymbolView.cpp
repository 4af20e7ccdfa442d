#include "ui/SymbolView.h"

#include "ui/SymbolIcon.h"

#include <QPainter>

namespace quillora {

SymbolView::SymbolView(int size, QWidget *parent) : QWidget(parent) { setFixedSize(size, size); }

void SymbolView::setSymbol(const QString &name) {
    if (m_symbol == name)
        return;
    m_symbol = name;
    update();
}

void SymbolView::setColor(const QColor &color) {
    if (m_color == color)
        return;
    m_color = color;
    update();
}

void SymbolView::paintEvent(QPaintEvent *) {
    QPainter painter(this);
    SymbolIcon::paint(painter, m_symbol, rect(), color());
}

} // namespace quillora
