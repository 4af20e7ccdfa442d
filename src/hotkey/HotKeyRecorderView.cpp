#include "hotkey/HotKeyRecorderView.h"

#include "platform/KeyPositions.h"
#include "platform/MainQueue.h"
#include "platform/Platform.h"

#include <QKeyEvent>
#include <QPointer>

#include <algorithm>
#include <array>

using namespace Qt::StringLiterals;

namespace quillora {

using platform::Platform;

namespace {

constexpr quint32 escapeKeyCode = 53;

/// These only prepare a combination: the numbering of key positions knows no press of them.
bool isModifierKey(int key) {
    static constexpr std::array modifierKeys{
        Qt::Key_Shift,    Qt::Key_Control, Qt::Key_Alt,       Qt::Key_Meta,    Qt::Key_AltGr,
        Qt::Key_Super_L,  Qt::Key_Super_R, Qt::Key_Hyper_L,   Qt::Key_Hyper_R, Qt::Key_Mode_switch,
        Qt::Key_CapsLock, Qt::Key_NumLock, Qt::Key_ScrollLock};
    return std::find(modifierKeys.begin(), modifierKeys.end(), key) != modifierKeys.end();
}

quint32 modifierMask(Qt::KeyboardModifiers modifiers) {
    quint32 mask = 0;
    if (modifiers & Qt::ControlModifier)
        mask |= AppHotKey::controlKey;
    if (modifiers & Qt::AltModifier)
        mask |= AppHotKey::optionKey;
    if (modifiers & Qt::ShiftModifier)
        mask |= AppHotKey::shiftKey;
    if (modifiers & Qt::MetaModifier)
        mask |= AppHotKey::cmdKey;
    return mask;
}

} // namespace

HotKeyRecorderView::HotKeyRecorderView(const Description &description, QWidget *parent)
    : QWidget(parent), m_description(description) {
    m_description.isRecording = false;
    setFocusPolicy(Qt::ClickFocus); // focusable, yet no stop of the Tab key
    setAccessibleName(u"Hotkey recorder"_s);
}

void HotKeyRecorderView::setDescription(const Description &description) {
    m_description = description;
    if (m_description.isRecording)
        requestFocus();
}

void HotKeyRecorderView::requestFocus() {
    Platform::current().mainQueue().async([view = QPointer<HotKeyRecorderView>(this)] {
        const bool isInWindow = view && !view->isWindow();
        if (isInWindow)
            view->setFocus(Qt::OtherFocusReason);
    });
}

bool HotKeyRecorderView::event(QEvent *event) {
    if (!m_description.isRecording)
        return QWidget::event(event);
    switch (event->type()) {
    case QEvent::ShortcutOverride: // else the window's shortcuts would take the key
        event->accept();
        return true;
    case QEvent::KeyPress: // before the base class makes Tab move the focus
        event->accept();
        keyDown(static_cast<const QKeyEvent &>(*event));
        return true;
    case QEvent::KeyRelease:
        m_repeats.noteRelease(static_cast<const QKeyEvent &>(*event));
        return QWidget::event(event);
    default:
        return QWidget::event(event);
    }
}

void HotKeyRecorderView::keyDown(const QKeyEvent &event) {
    const auto keyCode = Platform::current().keyPositions().keyCode(event.nativeScanCode());
    // By the position too: what switches layouts carries a symbol of its own on the key of a modifier.
    const bool isModifier = isModifierKey(event.key()) || (keyCode && platform::isModifierPosition(*keyCode));
    if (isModifier || m_repeats.isRepeat(event))
        return;
    const quint32 mask = modifierMask(event.modifiers());
    const Description described = m_description; // a callback may replace it

    if (keyCode == escapeKeyCode && mask == 0) {
        if (described.onCancel)
            described.onCancel();
        return;
    }
    if (const AppHotKey hotKey{keyCode.value_or(0), mask}; keyCode && hotKey.isUsable()) {
        if (described.onCapture)
            described.onCapture(hotKey);
    } else if (described.onInvalid) {
        described.onInvalid();
    }
}

} // namespace quillora
