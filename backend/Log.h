#pragma once

#include <initializer_list>
#include <string>
#include <string_view>
#include <utility>
#include <variant>

namespace quillora::backend {

using LogField = std::pair<std::string_view, std::variant<std::string, double, unsigned>>;

/// One line of JSON on the standard error; empty texts are left out. Never a text, a token or a device.
void log(std::string_view event, std::initializer_list<LogField> fields = {});

} // namespace quillora::backend
