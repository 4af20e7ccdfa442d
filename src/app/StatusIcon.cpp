#include "app/StatusIcon.h"

#include <QPainter>
#include <QSvgRenderer>

using namespace Qt::StringLiterals;

namespace quillora {

namespace {

const QColor quietColour(0xf4, 0xf4, 0xf6);
const QColor recordingColour(0xff, 0x45, 0x3a);
const QColor groundColour(0x16, 0x16, 0x1a);

QString fileName(DictationState state) {
    switch (state) {
    case DictationState::idle:
        return u"quillora-idle-symbolic"_s;
    case DictationState::recording:
        return u"quillora-recording-symbolic"_s;
    case DictationState::processing:
        return u"quillora-processing-symbolic"_s;
    }
    Q_UNREACHABLE();
}

QImage emptyImage(int size) {
    QImage image(size, size, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    return image;
}

/// The shape of the drawing in one colour.
QImage tintedShape(const QString &fileName, int size, const QColor &colour) {
    QImage image = emptyImage(size);
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    QSvgRenderer(fileName).render(&painter, image.rect());
    painter.setCompositionMode(QPainter::CompositionMode_SourceIn);
    painter.fillRect(image.rect(), colour);
    return image;
}

} // namespace

StatusIcon::StatusIcon(DictationState state)
    : m_name(fileName(state)), m_colour(state == DictationState::recording ? recordingColour : quietColour) {}

/// Every symbol is round: a dark disc behind it is its outline on light panels, and fills its gaps there.
QImage StatusIcon::image(int size) const {
    QImage image = emptyImage(size);
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.setBrush(groundColour);
    painter.drawEllipse(image.rect());
    painter.drawImage(0, 0, tintedShape(u":/quillora/status/%1.svg"_s.arg(m_name), size, m_colour));
    return image;
}

QIcon StatusIcon::icon() const {
    QIcon icon;
    for (const int size : sizes)
        icon.addPixmap(QPixmap::fromImage(image(size)));
    return icon;
}

} // namespace quillora
