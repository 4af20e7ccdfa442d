#include "platform/linux/plain/FocusedPasteboard.h"

#include <QClipboard>
#include <QEvent>
#include <QGuiApplication>
#include <QWindow>

namespace quillora::platform {

namespace {

class OutOfReach : public SavedPasteboard {
    Found found() const override { return Found::noAccess; }
};

} // namespace

FocusedPasteboard::FocusedPasteboard() {
    qGuiApp->installEventFilter(this);
    // A click may come before the focus that it brings, so only the loss of it is the end.
    connect(qGuiApp, &QGuiApplication::focusWindowChanged, this, [this](const QWindow *window) {
        if (!window)
            m_workedIn.clear();
    });
}

SavedPasteboardHandle FocusedPasteboard::save() { return std::make_shared<OutOfReach>(); }

bool FocusedPasteboard::write(const QString &text, const SavedPasteboardHandle &) {
    if (!isUserAtWorkHere())
        return false;
    QGuiApplication::clipboard()->setText(text);
    return true;
}

bool FocusedPasteboard::eventFilter(QObject *watched, QEvent *event) {
    const bool isInput = event->type() == QEvent::KeyPress || event->type() == QEvent::MouseButtonPress;
    if (isInput && event->spontaneous() && watched->isWindowType())
        m_workedIn = watched;
    return QObject::eventFilter(watched, event);
}

bool FocusedPasteboard::isUserAtWorkHere() const {
    return m_workedIn && m_workedIn == QGuiApplication::focusWindow();
}

} // namespace quillora::platform
