#include "ui/SymbolIcon.h"

#include <QFile>
#include <QPainter>
#include <QPixmapCache>
#include <QSvgRenderer>

using namespace Qt::StringLiterals;

namespace quillora {

namespace {

constexpr double disabledOpacity = 0.35;

QString resourcePath(const QString &name) { return u":/icons/"_s + name + u".svg"_s; }

QColor faded(QColor color) {
    color.setAlphaF(static_cast<float>(color.alphaF() * disabledOpacity));
    return color;
}

/// The symbol in device pixels. It is tinted as a whole, because the SVG renderer knows no current colour.
QPixmap tinted(const QString &name, const QSize &size, const QColor &color) {
    const QString key = u"quillora/%1/%2x%3/%4"_s.arg(name)
                            .arg(size.width())
                            .arg(size.height())
                            .arg(color.name(QColor::HexArgb));
    QPixmap pixmap;
    if (QPixmapCache::find(key, &pixmap))
        return pixmap;
    pixmap = QPixmap(size);
    pixmap.fill(Qt::transparent);
    QSvgRenderer renderer(resourcePath(name));
    renderer.setAspectRatioMode(Qt::KeepAspectRatio);
    QPainter painter(&pixmap);
    renderer.render(&painter, QRectF(QPointF(), QSizeF(size)));
    painter.setCompositionMode(QPainter::CompositionMode_SourceIn);
    painter.fillRect(pixmap.rect(), color);
    painter.end();
    QPixmapCache::insert(key, pixmap);
    return pixmap;
}

} // namespace

QIcon SymbolIcon::icon(const QString &name, const QColor &color) {
    return QIcon(new SymbolIcon(name, color)); // the icon owns its engine
}

void SymbolIcon::paint(QPainter &painter, const QString &name, const QRectF &rect, const QColor &color) {
    const qreal scale = painter.deviceTransform().m11(); // also right where a widget is painted elsewhere
    QPixmap pixmap = tinted(name, (rect.size() * scale).toSize(), color);
    pixmap.setDevicePixelRatio(scale);
    painter.drawPixmap(rect.topLeft(), pixmap);
}

SymbolIcon::SymbolIcon(const QString &name, const QColor &color) : m_name(name), m_color(color) {}

void SymbolIcon::paint(QPainter *painter, const QRect &rect, QIcon::Mode mode, QIcon::State) {
    paint(*painter, m_name, QRectF(rect), mode == QIcon::Disabled ? faded(m_color) : m_color);
}

QPixmap SymbolIcon::pixmap(const QSize &size, QIcon::Mode mode, QIcon::State) {
    return tinted(m_name, size, mode == QIcon::Disabled ? faded(m_color) : m_color);
}

QIconEngine *SymbolIcon::clone() const { return new SymbolIcon(*this); }

bool SymbolIcon::isNull() { return !QFile::exists(resourcePath(m_name)); }

} // namespace quillora
