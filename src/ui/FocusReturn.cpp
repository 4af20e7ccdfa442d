#include "ui/FocusReturn.h"

#include <QEvent>
#include <QWidget>

namespace quillora {

FocusReturn::FocusReturn(QWidget &panel) : QObject(&panel) {
    for (QWidget *control : panel.findChildren<QWidget *>()) {
        if (control->focusPolicy() != Qt::NoFocus)
            control->installEventFilter(this);
    }
}

bool FocusReturn::eventFilter(QObject *watched, QEvent *event) {
    auto *control = static_cast<QWidget *>(watched);
    if (event->type() == QEvent::FocusIn) {
        follow(control);
    } else if (event->type() == QEvent::EnabledChange && !control->isEnabled()) {
        // Within a window that is not active the focus moves without an event.
        follow(control->window()->focusWidget());
    } else if (event->type() == QEvent::EnabledChange && control == m_waiting) {
        m_waiting = nullptr;
        m_focused = control;
        control->setFocus(Qt::OtherFocusReason);
    }
    return false;
}

void FocusReturn::follow(QWidget *focused) {
    if (focused == m_focused)
        return;
    const bool hasLostByDisabling = m_focused && !m_focused->isEnabled();
    if (!hasLostByDisabling)
        m_waiting = nullptr; // the user moved it
    else if (!m_waiting)
        m_waiting = m_focused; // else a stand-in was disabled in its turn
    m_focused = focused;
}

} // namespace quillora
