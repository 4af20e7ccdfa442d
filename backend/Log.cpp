#include "backend/Log.h"

#include <boost/json.hpp>

#include <array>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <ctime>
#include <unistd.h>

namespace quillora::backend {

namespace json = boost::json;

namespace {

std::string now() {
    const auto since = std::chrono::system_clock::now().time_since_epoch();
    const auto milliseconds = std::chrono::duration_cast<std::chrono::milliseconds>(since).count();
    const std::time_t seconds = milliseconds / 1000;
    std::tm parts{};
    gmtime_r(&seconds, &parts);
    std::array<char, 32> day{};
    std::array<char, 40> text{};
    std::strftime(day.data(), day.size(), "%Y-%m-%dT%H:%M:%S", &parts);
    const int length = std::snprintf(text.data(), text.size(), "%s.%03dZ", day.data(),
                                     static_cast<int>(milliseconds % 1000));
    return {text.data(), static_cast<std::size_t>(length)};
}

} // namespace

void log(std::string_view event, std::initializer_list<LogField> fields) {
    json::object line{{"time", now()}, {"event", event}};
    for (const auto &[name, value] : fields) {
        if (const auto *const text = std::get_if<std::string>(&value)) {
            if (!text->empty())
                line.emplace(name, *text);
        } else if (const auto *const number = std::get_if<double>(&value)) {
            line.emplace(name, std::round(*number * 10) / 10);
        } else {
            line.emplace(name, std::get<unsigned>(value));
        }
    }
    // In one call, so that the lines of several processes do not mix.
    const auto bytes = json::serialize(line) + "\n";
    [[maybe_unused]] const auto written = write(STDERR_FILENO, bytes.data(), bytes.size());
}

} // namespace quillora::backend
