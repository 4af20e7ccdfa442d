#pragma once

#include <QApplication>
#include <QHelpEvent>
#include <QString>
#include <QToolTip>

namespace quillora::test {

/// What a widget says, in rich text maybe, to a pointer that rests on it.
inline QString toolTipOf(QWidget &widget) {
    const QPoint place(5, 5);
    QHelpEvent asking(QEvent::ToolTip, place, widget.mapToGlobal(place));
    QApplication::sendEvent(&widget, &asking);
    const QString text = QToolTip::text();
    QToolTip::hideText();
    return text;
}

} // namespace quillora::test
