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
    switch (event->type()) {
    case QEvent::FocusOut: {
        const bool lostByDisabling = !control->isEnabled();
        if (lostByDisabling && !m_waiting)
            m_waiting = control;
        if (lostByDisabling)
            m_standIn = nullptr; // which may have been disabled in its turn
        break;
    }
    case QEvent::FocusIn: {
        const bool movedByUser = m_waiting && m_standIn && m_standIn != control;
        if (movedByUser)
            m_waiting = nullptr;
        m_standIn = control;
        break;
    }
    case QEvent::EnabledChange:
        if (control == m_waiting && control->isEnabled()) {
            m_waiting = nullptr;
            control->setFocus(Qt::OtherFocusReason);
        }
        break;
    default:
        break;
    }
    return false;
}

} // namespace quillora
