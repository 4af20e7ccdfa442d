#pragma once

namespace quillora::test {

/// Whether the test was built with a sanitizer, which keeps some of what is freed, has allocations of its own
/// and slows everything down. The build defines QUILLORA_SANITIZED then.
#ifdef QUILLORA_SANITIZED
inline constexpr bool isSanitized = true;
#else
inline constexpr bool isSanitized = false;
#endif

} // namespace quillora::test
