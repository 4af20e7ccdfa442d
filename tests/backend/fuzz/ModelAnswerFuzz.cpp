// A model's answer: a part of what it said that is not blank, or a refusal in words. The first line is the
// text that was dictated, the rest what the model says, or its whole message if it begins like one.
#include "backend/ModelAnswer.h"
#include "backend/Refusal.h"
#include "backend/Text.h"

#include <boost/json.hpp>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

using namespace quillora::backend;
namespace json = boost::json;

namespace {

constexpr std::string_view mark = "text-0123456789abcdef";

void require(bool holds) {
    if (!holds)
        std::abort();
}

std::string messageWith(std::string_view content) {
    return json::serialize(json::object{
        {"choices", json::array{json::object{{"message", json::object{{"content", content}}}}}}});
}

bool isLetter(char byte) { return (byte >= 'a' && byte <= 'z') || (byte >= 'A' && byte <= 'Z'); }

/// Nothing that could be decoration, or an excuse.
bool isPlain(std::string_view text) {
    return !text.empty() &&
           std::all_of(text.begin(), text.end(), [](char byte) { return isLetter(byte) || byte == ' '; }) &&
           isLetter(text.front()) && isLetter(text.back()) && !lowered(text).starts_with("i ") &&
           !lowered(text).starts_with("as an ai") && !lowered(text).starts_with("i am sorry");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    const std::string_view input(reinterpret_cast<const char *>(data), size);
    const auto end = std::min(input.find('\n'), input.size());
    const TranslationRequest request{std::string(input.substr(0, end)), "English", "Kazakh"};
    const auto said = input.substr(std::min(end + 1, input.size()));
    const bool isMessage = said.starts_with("{\"choices\"");
    const bool isAsItWas = isPlain(said);
    const bool keepsItsFence = request.text.find("```") != std::string::npos && said.starts_with("```") &&
                               said.find("</think>") == std::string_view::npos &&
                               lowered(said).find("translation") == std::string::npos;
    try {
        const auto translation =
            translationIn(isMessage ? std::string(said) : messageWith(said), request, mark);
        require(!translation.empty() && trimmed(translation) == translation);
        // Only what an object holds is written otherwise in it.
        require(isMessage || said.find('{') != std::string_view::npos ||
                said.find(translation) != std::string_view::npos);
        require(!isAsItWas || translation == said);
        // What the text has itself stays.
        require(!keepsItsFence || translation.starts_with("```"));
    } catch (const Refusal &refusal) {
        require(refusal.status() == 502 && !isAsItWas);
    }
    return 0;
}
