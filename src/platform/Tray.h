#pragma once

#include "platform/StatusItem.h"

#include <memory>

namespace quillora::platform {

/// Where a desktop shows the icons of programs that run without a window. Main thread only.
class Tray {
public:
    virtual ~Tray() = default;

    /// Makes the program's icon, also where no tray is there: one may come up at any time, and go again. One
    /// at a time.
    virtual std::unique_ptr<StatusItem> makeItem(StatusItemListener listener) = 0;
};

} // namespace quillora::platform
