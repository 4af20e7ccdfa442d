#pragma once

namespace quillora {

/// What the program is doing, as its icon and its panel show it.
enum class DictationState {
    idle,
    recording, ///< be it that something else is being processed too
    processing
};

} // namespace quillora
