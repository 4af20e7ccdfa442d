#include "platform/linux/x11/X11OwnWindows.h"

#include "platform/linux/X11ToolkitConnection.h"
#include "platform/linux/x11/X11PointerWatch.h"

#include <QWindow>

#include <array>
#include <utility>

namespace quillora::platform {

void X11OwnWindows::keepOutOfTaskBars(QWindow &window) {
    auto *connection = toolkitConnection();
    const auto atoms = m_connection.atoms(
        {"_NET_WM_STATE", "_NET_WM_STATE_SKIP_TASKBAR", "_NET_WM_STATE_SKIP_PAGER"}, m_connection.patience());
    if (!connection || !atoms)
        return;
    const std::array states{(*atoms)[1], (*atoms)[2]};
    xcb_change_property(connection, XCB_PROP_MODE_REPLACE, static_cast<xcb_window_t>(window.winId()),
                        (*atoms)[0], XCB_ATOM_ATOM, 32, states.size(), states.data());
}

std::unique_ptr<PointerWatch> X11OwnWindows::watchPointer(std::function<void()> pressed) {
    return std::make_unique<X11PointerWatch>(std::move(pressed));
}

} // namespace quillora::platform
