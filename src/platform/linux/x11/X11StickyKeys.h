#pragma once

#include "platform/linux/x11/X11Connection.h"

namespace quillora::platform {

/// Keeps the user's sticky keys switched on while several keys are down at once, which the server otherwise
/// takes for the wish to have done with them. Ends with this object.
class X11StickyKeys {
public:
    /// `connection` must outlive this object.
    explicit X11StickyKeys(X11Connection &connection);
    ~X11StickyKeys();
    X11StickyKeys(const X11StickyKeys &) = delete;
    X11StickyKeys &operator=(const X11StickyKeys &) = delete;

private:
    void setOptions(uint16_t options);

    X11Connection &m_connection;
    uint16_t m_options = 0; ///< to be given back; none where nothing was changed
};

} // namespace quillora::platform
