#pragma once

#include "platform/Notifications.h"

#include <QDBusConnection>

namespace quillora::platform {

/// The notification service of the session bus, `org.freedesktop.Notifications`, which the bus starts where
/// it is installed.
class DesktopNotifications : public Notifications {
public:
    explicit DesktopNotifications(const QDBusConnection &bus = QDBusConnection::sessionBus());

    void show(const Notification &notification) override;

private:
    const QDBusConnection m_bus;
};

} // namespace quillora::platform
