#pragma once

#include <QPushButton>

namespace quillora {

/// A button with a text or one of our symbols. Space and Enter press it.
class PanelButton : public QPushButton {
    Q_OBJECT

public:
    enum class Look {
        borderless, ///< a symbol only
        compact,    ///< a text in a frame, of the small control size
        bordered,   ///< a symbol or a text in a frame, of the large control size
        prominent   ///< a text, maybe after a symbol, on a filled surface, of the large control size
    };

    explicit PanelButton(Look look, QWidget *parent = nullptr);

    const QString &symbol() const { return m_symbol; }
    void setSymbol(const QString &name);

    /// The tool tip, which also is the accessible name of a button without text.
    void setHelpText(const QString &text);

    /// The surface of a prominent button; the accent colour unless it is set to a valid one.
    const QColor &surfaceColor() const { return m_surfaceColor; }
    void setSurfaceColor(const QColor &color);

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

protected:
    void keyPressEvent(QKeyEvent *event) override;
    void paintEvent(QPaintEvent *event) override;

private:
    void paintSurface(QPainter &painter) const;
    void paintContent(QPainter &painter) const;
    int contentWidth() const;
    QColor surface() const;
    QColor foreground() const;
    bool showsFocus() const;

    Look m_look;
    QString m_symbol;
    QColor m_surfaceColor;
};

} // namespace quillora
