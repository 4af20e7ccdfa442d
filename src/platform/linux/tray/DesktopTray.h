#pragma once

#include "platform/Tray.h"

#include <QDBusConnection>

namespace quillora::platform {

/// Whatever tray this desktop has at the moment, on the session bus or on X11.
class DesktopTray final : public Tray {
public:
    explicit DesktopTray(const QDBusConnection &bus = QDBusConnection::sessionBus());

    std::unique_ptr<StatusItem> makeItem(StatusItemListener listener) override;

private:
    QDBusConnection m_bus;
};

} // namespace quillora::platform
