#include "platform/linux/x11/X11Session.h"

#include <utility>

namespace quillora::platform {

X11Session::X11Session(std::function<void()> farewell)
    : m_departure(m_connection, [this, farewell = std::move(farewell)] {
          farewell();
          m_pasteboard.handOver();
      }) {}

X11Session::~X11Session() { m_pasteboard.handOver(); }

} // namespace quillora::platform
