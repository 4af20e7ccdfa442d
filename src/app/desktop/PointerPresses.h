#pragma once

#include <QAbstractNativeEventFilter>
#include <QObject>

namespace quillora {

/// Tells of every press of a mouse button, wherever on the desktop it happens and whoever it is for. It only
/// listens: nothing is held back from anybody. On X11; elsewhere it tells of none.
class PointerPresses : public QObject, public QAbstractNativeEventFilter {
    Q_OBJECT

public:
    PointerPresses();
    ~PointerPresses() override;

    bool nativeEventFilter(const QByteArray &eventType, void *message, qintptr *result) override;

Q_SIGNALS:
    /// The pointer is still where it happened. Turns of the wheel are no presses.
    void pressed();
};

} // namespace quillora
