#pragma once

#include <array>
#include <chrono>

namespace quillora::recognizer {

/// The library of the engine "sherpa", and the one that it loads; they lie beside the recognizer's program.
constexpr std::array sherpaLibraryFiles{"libsherpa-onnx-c-api.so", "libonnxruntime.so"};

/// A segment ends before a model that is not for streams takes longer than this to decode it. At the release
/// the model may just have begun to decode it for the words so far, and does so once more for the last ones:
/// the text is waited for 1.5 seconds.
constexpr std::chrono::milliseconds longestDecoding{700};

} // namespace quillora::recognizer
