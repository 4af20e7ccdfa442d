#pragma once

namespace quillora::platform {

/// From here on what this process frees goes back to the system soon, whichever thread had it. By itself the
/// C library keeps twice as much as the largest block that was ever freed, up to 64 MB, in the heap of each
/// thread (`M_TRIM_THRESHOLD` in mallopt(3)): a lot for a program that lives in the tray all day.
void giveFreedMemoryBack();

} // namespace quillora::platform
