#pragma once

#include <functional>
#include <memory>

class QWindow;

namespace quillora::platform {

/// As long as it is alive, presses of the pointer are told.
class PointerWatch {
public:
    virtual ~PointerWatch() = default;
};

/// What this program's own windows need of the desktop beyond the toolkit. Main thread only.
class OwnWindows {
public:
    virtual ~OwnWindows() = default;

    /// Whether a window goes where the program puts it. Elsewhere the desktop places windows itself.
    virtual bool canPlace() const = 0;

    /// Leaves the window out of task bars and pagers from its next showing on, where the desktop can. It is
    /// forgotten whenever the window goes, so it is said before each showing.
    virtual void keepOutOfTaskBars(QWindow &window) = 0;

    /// Calls `pressed` at every press of a mouse button, wherever on the desktop it happens and whoever it is
    /// for, where the desktop tells; the pointer is still there. Turns of the wheel are no presses, and
    /// nothing is held back from anybody. One watch at a time.
    virtual std::unique_ptr<PointerWatch> watchPointer(std::function<void()> pressed) = 0;
};

} // namespace quillora::platform
