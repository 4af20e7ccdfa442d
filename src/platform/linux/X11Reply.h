#pragma once

#include <cstdlib>
#include <memory>

namespace quillora::platform {

struct X11ReplyDeleter {
    void operator()(void *reply) const { std::free(reply); }
};

/// A reply, an event or an error that XCB has handed over; none where the request failed.
template <typename T>
using X11Reply = std::unique_ptr<T, X11ReplyDeleter>;

} // namespace quillora::platform
