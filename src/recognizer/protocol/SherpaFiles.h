#pragma once

#include <array>
#include <chrono>

namespace quillora::recognizer {

/// The library of the engine "sherpa", and the one that it loads; they lie beside the recognizer's program.
constexpr std::array sherpaLibraryFiles{"libsherpa-onnx-c-api.so", "libonnxruntime.so"};

/// A segment ends before a model that is not for streams takes longer than this to decode it.
constexpr std::chrono::milliseconds longestDecoding{1000};

} // namespace quillora::recognizer
