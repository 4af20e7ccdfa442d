#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace quillora::backend {

/// Without white space at either end, that of Unicode included.
std::string_view trimmed(std::string_view text);

/// How many characters UTF-8 text holds.
std::size_t characterCount(std::string_view text);

/// Whether it may stand for a language: one to 64 characters, none of which a reader does not see, or begins
/// a line, a quotation, markup or another order of writing.
bool isLanguageName(std::string_view text);

/// ASCII letters made small; the others stay.
std::string lowered(std::string_view text);

/// Whether a host, with a port or without and an IPv6 address in brackets, is this computer itself.
bool isThisComputer(std::string_view host);

std::string hexadecimal(std::string_view bytes);

} // namespace quillora::backend
