#include "app/StatusIcon.h"

#include <QPainter>
#include <QSvgRenderer>

#include <algorithm>
#include <cmath>
#include <numbers>

namespace quillora {

namespace {

const QColor quietColour(0xf4, 0xf4, 0xf6);
const QColor recordingColour(0xff, 0x45, 0x3a);
const QColor outlineColour(0x16, 0x16, 0x1a);

QImage emptyImage(int size) {
    QImage image(size, size, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    return image;
}

/// The shape of the drawing in one colour, `margin` pixels inside the edges.
QImage tintedShape(const QString &fileName, int size, qreal margin, const QColor &colour) {
    QImage image = emptyImage(size);
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    QSvgRenderer(fileName).render(&painter,
                                  QRectF(0, 0, size, size).adjusted(margin, margin, -margin, -margin));
    painter.setCompositionMode(QPainter::CompositionMode_SourceIn);
    painter.fillRect(image.rect(), colour);
    return image;
}

} // namespace

StatusIcon::StatusIcon(const QString &symbolName)
    : m_name(u"quillora-idle-symbolic"_qs), m_colour(quietColour) {
    if (symbolName == u"mic.circle.fill") {
        m_name = u"quillora-recording-symbolic"_qs;
        m_colour = recordingColour;
    } else if (symbolName == u"arrow.triangle.2.circlepath.circle") {
        m_name = u"quillora-processing-symbolic"_qs;
    }
}

QString StatusIcon::themeName() const { return QIcon::hasThemeIcon(m_name) ? m_name : QString(); }

QImage StatusIcon::image(int size) const {
    const QString fileName = u":/quillora/status/%1.svg"_qs.arg(m_name);
    const qreal outlineWidth = std::max(1.0, size / 20.0);
    const QImage outline = tintedShape(fileName, size, outlineWidth, outlineColour);

    QImage image = emptyImage(size);
    QPainter painter(&image);
    constexpr int directions = 16;
    for (int i = 0; i < directions; ++i) {
        const double angle = 2 * std::numbers::pi * i / directions;
        painter.drawImage(QPointF(std::cos(angle), std::sin(angle)) * outlineWidth, outline);
    }
    painter.drawImage(0, 0, tintedShape(fileName, size, outlineWidth, m_colour));
    return image;
}

QIcon StatusIcon::icon() const {
    QIcon icon;
    for (const int size : sizes)
        icon.addPixmap(QPixmap::fromImage(image(size)));
    return icon;
}

} // namespace quillora
