#include "app/desktop/TaskBars.h"

#include "app/desktop/ToolkitConnection.h"

#include <QWindow>

#include <array>

namespace quillora {

void keepOutOfTaskBars(QWindow &window) {
    auto *connection = toolkitConnection();
    if (!connection)
        return;
    const std::array states{atom(connection, "_NET_WM_STATE_SKIP_TASKBAR"),
                            atom(connection, "_NET_WM_STATE_SKIP_PAGER")};
    xcb_change_property(connection, XCB_PROP_MODE_REPLACE, static_cast<xcb_window_t>(window.winId()),
                        atom(connection, "_NET_WM_STATE"), XCB_ATOM_ATOM, 32, states.size(), states.data());
}

} // namespace quillora
