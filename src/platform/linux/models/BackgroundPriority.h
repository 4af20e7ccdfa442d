#pragma once

namespace quillora::platform {

/// Lets the calling thread run when no other wants the processor, and read when no other wants the disk, as
/// far as the system lets it.
void yieldToEverybody();

/// Gives the calling thread, and those that it starts, a small share of a processor that others want too:
/// the main thread need not wait for one of its own program's.
void giveWay();

} // namespace quillora::platform
