#pragma once

#include "platform/OwnWindows.h"
#include "platform/linux/x11/X11Connection.h"

namespace quillora::platform {

/// By way of the toolkit's own connection, whose requests for the same windows must come in the same order.
/// Where the toolkit does not run on X11 it does nothing.
class X11OwnWindows final : public OwnWindows {
public:
    /// `connection` is what the server's names are asked on.
    explicit X11OwnWindows(X11Connection &connection) : m_connection(connection) {}

    bool canPlace() const override { return true; }
    void keepOutOfTaskBars(QWindow &window) override;
    std::unique_ptr<PointerWatch> watchPointer(std::function<void()> pressed) override;

private:
    X11Connection &m_connection;
};

} // namespace quillora::platform
