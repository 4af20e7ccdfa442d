#pragma once

#include <array>

namespace quillora::recognizer {

/// The library of the engine "sherpa", and the one that it loads; they lie beside the recognizer's program.
constexpr std::array sherpaLibraryFiles{"libsherpa-onnx-c-api.so", "libonnxruntime.so"};

} // namespace quillora::recognizer
