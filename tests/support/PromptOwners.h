#pragma once

#include "platform/linux/x11/X11Pasteboard.h"

namespace quillora::test {

/// Patience with programs that say at once what they have, on a loaded machine too.
constexpr platform::X11Pasteboard::Patience promptOwners{.withLists = std::chrono::seconds(10)};

/// And with programs that paste at once when they are told to.
constexpr platform::X11Pasteboard::Patience promptOwnersAndReaders{
    .withLists = promptOwners.withLists, .withOthers = {.withReaders = std::chrono::milliseconds(200)}};

} // namespace quillora::test
