#pragma once

#include "recognizer/Decoder.h"

namespace quillora::recognizer {

/// The whole of the recognizer's process: serves the program at the other end of the socket until that end is
/// gone. Returns the process's status.
int serve(const Engines &engines);

} // namespace quillora::recognizer
