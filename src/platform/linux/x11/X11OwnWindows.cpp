#include "platform/linux/x11/X11OwnWindows.h"

#include "platform/linux/x11/X11PointerWatch.h"
#include "platform/linux/x11/X11ToolkitConnection.h"

#include <QWindow>

#include <array>
#include <utility>

namespace quillora::platform {

void X11OwnWindows::keepOutOfTaskBars(QWindow &window) {
    auto *connection = toolkitConnection();
    if (!connection)
        return;
    const std::array states{atom(connection, "_NET_WM_STATE_SKIP_TASKBAR"),
                            atom(connection, "_NET_WM_STATE_SKIP_PAGER")};
    xcb_change_property(connection, XCB_PROP_MODE_REPLACE, static_cast<xcb_window_t>(window.winId()),
                        atom(connection, "_NET_WM_STATE"), XCB_ATOM_ATOM, 32, states.size(), states.data());
}

std::unique_ptr<PointerWatch> X11OwnWindows::watchPointer(std::function<void()> pressed) {
    return std::make_unique<X11PointerWatch>(std::move(pressed));
}

} // namespace quillora::platform
