#pragma once

#include "platform/OwnWindows.h"

namespace quillora::platform {

/// By way of the toolkit's own connection, whose requests for the same windows must come in the same order.
/// Where the toolkit does not run on X11 it does nothing.
class X11OwnWindows final : public OwnWindows {
public:
    bool canPlace() const override { return true; }
    void keepOutOfTaskBars(QWindow &window) override;
    std::unique_ptr<PointerWatch> watchPointer(std::function<void()> pressed) override;
};

} // namespace quillora::platform
