#include "ui/FieldFrame.h"

#include "ui/PanelPalette.h"

#include <QEvent>
#include <QLineEdit>
#include <QPainter>
#include <QVBoxLayout>

namespace quillora {

namespace {

// In logical pixels.
constexpr qreal radius = 7;
constexpr int lineHeight = 30;
constexpr int lineTextMargin = 6;

} // namespace

FieldFrame::FieldFrame(QWidget &content, QWidget *parent) : QWidget(parent), m_content(content) {
    auto *layout = new QVBoxLayout(this);
    layout->setContentsMargins(2, 2, 2, 2);
    layout->addWidget(&content);
    content.installEventFilter(this);
}

FieldFrame *FieldFrame::around(QLineEdit &line) {
    line.setFrame(false);
    line.setTextMargins(lineTextMargin, 0, lineTextMargin, 0);
    line.setAccessibleName(line.placeholderText());
    QPalette seeThrough; // all else is inherited
    seeThrough.setColor(QPalette::Base, Qt::transparent);
    line.setPalette(seeThrough);
    auto *frame = new FieldFrame(line);
    frame->setMinimumHeight(lineHeight);
    return frame;
}

void FieldFrame::paint(QPainter &painter, const QRect &rect, const QColor &surface, const QColor &outline,
                       qreal outlineWidth) {
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setBrush(surface);
    painter.setPen(outlineWidth > 0 ? QPen(outline, outlineWidth) : QPen(Qt::NoPen));
    const qreal inset = outlineWidth / 2;
    painter.drawRoundedRect(QRectF(rect).adjusted(inset, inset, -inset, -inset), radius - inset,
                            radius - inset);
}

bool FieldFrame::eventFilter(QObject *, QEvent *event) {
    const auto type = event->type();
    if (type == QEvent::FocusIn || type == QEvent::FocusOut || type == QEvent::EnabledChange)
        update();
    return false;
}

void FieldFrame::paintEvent(QPaintEvent *) {
    QPainter painter(this);
    const QPalette &colors = palette();
    const QColor base = colors.color(QPalette::Active, QPalette::Base);
    const QColor surface =
        m_content.isEnabled() ? base : PanelPalette::blend(base, colors.color(QPalette::Window), 0.4);
    if (m_content.hasFocus())
        paint(painter, rect(), surface, colors.color(QPalette::Highlight), 2);
    else
        paint(painter, rect(), surface, colors.color(QPalette::Mid));
}

} // namespace quillora
