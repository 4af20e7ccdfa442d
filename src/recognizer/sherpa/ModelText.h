#pragma once

#include <string>
#include <string_view>

namespace quillora::recognizer {

/// What a model wrote, with nothing changed but what cannot be meant: no blanks at the ends, never two in a
/// row, no control characters, no halves of a character.
std::string modelText(std::string_view written);

} // namespace quillora::recognizer
