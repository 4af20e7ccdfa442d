#pragma once

namespace quillora::platform {

/// From here on a crash of this process, or of one that it starts, leaves no image of its memory behind,
/// where the token, the user's words and what he had copied stand. A debugger can still be attached.
void forgoCoreDumps();

} // namespace quillora::platform
