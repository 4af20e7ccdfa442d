#pragma once

namespace quillora::platform {

/// Lets the calling thread run when no other wants the processor, and read when no other wants the disk, as
/// far as the system lets it.
void yieldToEverybody();

} // namespace quillora::platform
