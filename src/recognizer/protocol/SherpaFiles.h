#pragma once

#include <array>
#include <chrono>

namespace quillora::recognizer {

/// The library of the engine "sherpa", and the one that it loads; they lie beside the recognizer's program.
constexpr std::array sherpaLibraryFiles{"libsherpa-onnx-c-api.so", "libonnxruntime.so"};

/// A segment ends before a model that is not for streams takes longer than this to decode it. At the release
/// the model may just have begun to decode it for the words so far, then find a pause, or too much sound, in
/// what came meanwhile and decode once more to end it, and again for the last words; some models take as long
/// for few words as for many. The text is waited for 1.5 seconds.
constexpr std::chrono::milliseconds longestDecoding{480};

} // namespace quillora::recognizer
