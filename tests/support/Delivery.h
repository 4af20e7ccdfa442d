#pragma once

namespace quillora::test {

/// What becomes of models that are asked for: nothing comes, part of it, all of it; or it is refused.
enum class Delivery { nothing, part, everything, refusal };

} // namespace quillora::test
