#include "ui/ParagraphLayout.h"

#include <QTextBlock>
#include <QTextDocument>
#include <QTextLayout>

namespace quillora {

ParagraphLayout::ParagraphLayout(QTextDocument *document) : QPlainTextDocumentLayout(document) {}

/// Everything that shows or measures a block comes through here first.
QRectF ParagraphLayout::blockBoundingRect(const QTextBlock &block) const {
    QRectF bounds = QPlainTextDocumentLayout::blockBoundingRect(block);
    if (!block.isValid())
        return bounds;
    const Qt::LayoutDirection direction = block.textDirection();
    const bool isAsTheToolkitDoes = direction == Qt::LeftToRight && !block.text().isRightToLeft();
    if (isAsTheToolkitDoes || block.layout()->textOption().textDirection() == direction)
        return bounds;
    QTextOption option = document()->defaultTextOption();
    option.setTextDirection(direction);
    option.setAlignment(direction == Qt::RightToLeft ? Qt::AlignRight : Qt::AlignLeft);
    layOut(block, option);
    return QPlainTextDocumentLayout::blockBoundingRect(block);
}

/// Lines as wide and as high as the toolkit makes them.
void ParagraphLayout::layOut(const QTextBlock &block, const QTextOption &option) const {
    QTextLayout &layout = *block.layout();
    const QTextLine toolkits = layout.lineAt(0);
    const qreal width = toolkits.width();
    const qreal left = toolkits.x();
    layout.setTextOption(option);
    layout.beginLayout();
    qreal top = 0;
    for (QTextLine line = layout.createLine(); line.isValid(); line = layout.createLine()) {
        line.setLeadingIncluded(true);
        line.setLineWidth(width);
        line.setPosition({left, top});
        top += line.height();
    }
    layout.endLayout();
}

} // namespace quillora
