#pragma once

#include <functional>
#include <string>
#include <vector>

namespace quillora::platform {

/// Whether the files of a model are what they should be; the worse the greater.
enum class ModelJudgement {
    right,   ///< those of a known version
    unknown, ///< of a version that is not known
    wrong,   ///< should be a known version's, but differ from them
};

/// What a recognizer's process loads.
struct RecognizerModel {
    std::string engine;
    std::vector<std::string> files; ///< in the engine's order

    /// Called on the recognizer's thread; may take a while.
    std::function<ModelJudgement()> judge = [] { return ModelJudgement::unknown; };
};

} // namespace quillora::platform
