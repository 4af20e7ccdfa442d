#include "app/PanelScroller.h"

#include "ui/ThinScrollBar.h"

#include <QEvent>
#include <QResizeEvent>

#include <algorithm>

namespace quillora {

PanelScroller::PanelScroller(std::unique_ptr<QWidget> content) : m_bar(new ThinScrollBar(this)) {
    setFrameShape(QFrame::NoFrame);
    setFocusPolicy(Qt::NoFocus);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setWidget(content.release());

    const QScrollBar &own = *verticalScrollBar();
    m_bar->setVisible(false);
    connect(&own, &QScrollBar::rangeChanged, m_bar, [this](int first, int last) {
        m_bar->setRange(first, last);
        m_bar->setPageStep(verticalScrollBar()->pageStep());
        m_bar->setVisible(last > first);
    });
    connect(&own, &QScrollBar::valueChanged, m_bar, &QScrollBar::setValue);
    connect(m_bar, &QScrollBar::valueChanged, &own, &QScrollBar::setValue);
}

void PanelScroller::setRoom(int height) {
    m_room = height;
    updateGeometry();
}

QSize PanelScroller::sizeHint() const {
    const QSize whole = widget()->size().expandedTo(widget()->minimumSizeHint());
    return {whole.width(), std::min(whole.height(), m_room)};
}

bool PanelScroller::eventFilter(QObject *watched, QEvent *event) {
    if (watched == widget() && event->type() == QEvent::Resize)
        updateGeometry();
    else if (watched == widget() && event->type() == QEvent::PaletteChange)
        m_bar->setPalette(widget()->palette());
    return QScrollArea::eventFilter(watched, event);
}

void PanelScroller::resizeEvent(QResizeEvent *event) {
    QScrollArea::resizeEvent(event);
    const int barWidth = m_bar->sizeHint().width();
    m_bar->setGeometry(width() - barWidth, 0, barWidth, height());
    m_bar->raise();
}

} // namespace quillora
