#pragma once

#include <QColor>
#include <QIconEngine>
#include <QString>

namespace quillora {

/// One of our own monochrome symbols, drawn in one colour and sharp at any size and scale. Disabled icons are
/// fainter.
class SymbolIcon : public QIconEngine {
public:
    /// `name` is a symbol of the family, such as "mic.circle.fill".
    static QIcon icon(const QString &name, const QColor &color);

    /// Paints the symbol itself, for widgets that draw without an icon.
    static void paint(QPainter &painter, const QString &name, const QRectF &rect, const QColor &color);

    SymbolIcon(const QString &name, const QColor &color);

    void paint(QPainter *painter, const QRect &rect, QIcon::Mode mode, QIcon::State state) override;
    QPixmap pixmap(const QSize &size, QIcon::Mode mode, QIcon::State state) override;
    QIconEngine *clone() const override;
    bool isNull() override;

private:
    QString m_name;
    QColor m_color;
};

} // namespace quillora
