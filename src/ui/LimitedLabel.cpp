#include "ui/LimitedLabel.h"

#include <QHelpEvent>
#include <QPainter>
#include <QStyle>
#include <QTextDocument>
#include <QTextLayout>
#include <QToolTip>

#include <cmath>

namespace quillora {

namespace {

constexpr qsizetype longestText = 1000; ///< characters
constexpr qsizetype longestLine = 200;  ///< characters; more than any line of the panel can hold

QString beginning(const QString &text, qsizetype length) {
    if (text.size() <= length)
        return text;
    const bool isTorn = text.at(length - 1).isHighSurrogate();
    return text.first(isTorn ? length - 1 : length) + u'…';
}

/// Calls `place(line, text)` for each of the lines that are shown. Returns whether all of the text is.
template <typename Place>
bool layOut(const QLabel &label, const QString &text, int maximumLines, Place place) {
    QTextLayout layout(text, label.font());
    QTextOption option(Qt::AlignLeading);
    option.setTextDirection(label.layoutDirection());
    option.setWrapMode(QTextOption::WrapAtWordBoundaryOrAnywhere);
    layout.setTextOption(option);
    layout.beginLayout();
    bool isWhole = true;
    for (int number = 0; number < maximumLines; ++number) {
        QTextLine line = layout.createLine();
        if (!line.isValid())
            break;
        line.setLineWidth(label.width());
        const bool isLast = number == maximumLines - 1;
        if (isLast && line.textStart() + line.textLength() < text.size()) {
            isWhole = false;
            place(number,
                  label.fontMetrics().elidedText(text.mid(line.textStart()), Qt::ElideRight, label.width()));
        } else {
            place(number, text.mid(line.textStart(), line.textLength()));
        }
    }
    layout.endLayout();
    return isWhole;
}

} // namespace

LimitedLabel::LimitedLabel(int maximumLines, QWidget *parent) : QLabel(parent), m_maximumLines(maximumLines) {
    setTextFormat(Qt::PlainText);
}

void LimitedLabel::setPlainText(const QString &text) {
    const QString kept = beginning(text, longestText);
    if (kept != this->text())
        setText(kept);
}

void LimitedLabel::setMaximumLines(int lines) {
    if (m_maximumLines == lines)
        return;
    m_maximumLines = lines;
    updateGeometry();
    update();
}

/// Without line ends, which would take the room of words.
QString LimitedLabel::shownText() const {
    return beginning(text().simplified(), m_maximumLines * longestLine);
}

QSize LimitedLabel::sizeHint() const {
    return {static_cast<int>(std::ceil(fontMetrics().horizontalAdvance(shownText()))) + 1,
            fontMetrics().lineSpacing() * m_maximumLines};
}

QSize LimitedLabel::minimumSizeHint() const { return {0, sizeHint().height()}; }

bool LimitedLabel::hasHeightForWidth() const { return false; }

bool LimitedLabel::isTruncated() const {
    return !layOut(*this, shownText(), m_maximumLines, [](int, const QString &) {});
}

bool LimitedLabel::event(QEvent *event) {
    if (event->type() != QEvent::ToolTip || !isTruncated())
        return QLabel::event(event);
    // As rich text, because only that is broken into lines.
    QToolTip::showText(static_cast<QHelpEvent *>(event)->globalPos(),
                       Qt::convertFromPlainText(text(), Qt::WhiteSpaceNormal), this);
    return true;
}

void LimitedLabel::paintEvent(QPaintEvent *) {
    QStringList lines;
    layOut(*this, shownText(), m_maximumLines, [&lines](int, const QString &line) { lines += line; });

    QPainter painter(this);
    painter.setPen(palette().color(foregroundRole()));
    const int lineHeight = fontMetrics().lineSpacing();
    int top = (height() - static_cast<int>(lines.size()) * lineHeight) / 2;
    for (const QString &line : lines) {
        const auto alignment = QStyle::visualAlignment(layoutDirection(), Qt::AlignLeft) | Qt::AlignVCenter;
        painter.drawText(QRect(0, top, width(), lineHeight), static_cast<int>(alignment) | Qt::TextSingleLine,
                         line);
        top += lineHeight;
    }
}

} // namespace quillora
