#pragma once

#include "backend/Prompt.h"

#include <string>
#include <string_view>

namespace quillora::backend {

/// The translation in what a chat-completions endpoint answered with status 200. What models like to put
/// around a translation is taken off: fences, quotation marks, marks of the question, thoughts, headings.
/// Throws a Refusal if nothing is left, if it was cut off, or if the model made excuses instead.
std::string translationIn(std::string_view body, const TranslationRequest &request, std::string_view mark);

} // namespace quillora::backend
