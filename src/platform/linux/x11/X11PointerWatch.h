#pragma once

#include "platform/OwnWindows.h"

#include <QAbstractNativeEventFilter>

namespace quillora::platform {

/// Listens on the toolkit's connection, since that has the application's events. Where the server has no
/// input extension it tells of nothing.
class X11PointerWatch final : public PointerWatch, public QAbstractNativeEventFilter {
public:
    explicit X11PointerWatch(std::function<void()> pressed);
    ~X11PointerWatch() override;
    X11PointerWatch(const X11PointerWatch &) = delete;
    X11PointerWatch &operator=(const X11PointerWatch &) = delete;

    bool nativeEventFilter(const QByteArray &eventType, void *message, qintptr *result) override;

private:
    std::function<void()> m_pressed;
};

} // namespace quillora::platform
