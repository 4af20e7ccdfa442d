#pragma once

#include <QColor>
#include <QString>
#include <QWidget>

namespace quillora {

/// A symbol that only tells something.
class SymbolView : public QWidget {
    Q_OBJECT

public:
    /// `size` is the length of an edge in logical pixels.
    explicit SymbolView(int size, QWidget *parent = nullptr);

    const QString &symbol() const { return m_symbol; }
    void setSymbol(const QString &name);

    /// That of secondary text, as the palette has it, until another one is set.
    QColor color() const { return m_color.isValid() ? m_color : palette().color(QPalette::PlaceholderText); }
    void setColor(const QColor &color);

protected:
    void paintEvent(QPaintEvent *event) override;

private:
    QString m_symbol;
    QColor m_color; ///< invalid until it was set
};

} // namespace quillora
