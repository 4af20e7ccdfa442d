#pragma once

#include <QWidget>

class QLineEdit;

namespace quillora {

/// A rounded field around a control that has no frame or surface of its own; it shows where the keyboard
/// focus is.
class FieldFrame : public QWidget {
    Q_OBJECT

public:
    /// Takes over `content`.
    explicit FieldFrame(QWidget &content, QWidget *parent = nullptr);

    /// Takes over a line to type in, which loses its own frame and surface and is called by its
    /// placeholder.
    static FieldFrame *around(QLineEdit &line);

    /// Paints the outline and surface that all fields, pickers and buttons of the panel share.
    static void paint(QPainter &painter, const QRect &rect, const QColor &surface, const QColor &outline,
                      qreal outlineWidth = 1);

    bool eventFilter(QObject *watched, QEvent *event) override;

protected:
    void paintEvent(QPaintEvent *event) override;

private:
    QWidget &m_content;
};

} // namespace quillora
