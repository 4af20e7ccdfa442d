#include "platform/linux/tray/DesktopTray.h"

#include "platform/linux/tray/TrayStatusItem.h"

#include <utility>

namespace quillora::platform {

DesktopTray::DesktopTray(const QDBusConnection &bus) : m_bus(bus) {}

std::unique_ptr<StatusItem> DesktopTray::makeItem(StatusItemListener listener) {
    return std::make_unique<TrayStatusItem>(m_bus, std::move(listener));
}

} // namespace quillora::platform
