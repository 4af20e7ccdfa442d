// A client's request: read or refused in words, and what is read becomes one question in which the text
// stands between the marks and nowhere else.
#include "backend/Prompt.h"
#include "backend/Refusal.h"
#include "backend/Text.h"

#include <boost/json.hpp>

#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

using namespace quillora::backend;
namespace json = boost::json;

namespace {

void require(bool holds) {
    if (!holds)
        std::abort();
}

void requireBoundedName(std::string_view name) {
    require(!trimmed(name).empty() && characterCount(name) <= 64);
    require(name.find_first_of(std::string_view("\n\r\t\0\"<>{}", 9)) == std::string_view::npos);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    const std::string_view body(reinterpret_cast<const char *>(data), size);
    try {
        const auto request = TranslationRequest::decoded(body);
        // It holds what was sent, and would be read the same again.
        const auto again = TranslationRequest::decoded(
            json::serialize(json::object{{"text", request.text},
                                         {"sourceLanguage", request.sourceLanguage},
                                         {"targetLanguage", request.targetLanguage}}));
        require(again.text == request.text && again.sourceLanguage == request.sourceLanguage &&
                again.targetLanguage == request.targetLanguage);
        for (const auto &name : {request.sourceLanguage, request.targetLanguage}) {
            if (isLanguageName(name))
                requireBoundedName(name);
        }
        const Prompt prompt("Into {target}.", "model", request);
        require(request.text.find(prompt.mark) == std::string::npos);
        const auto question = json::parse(prompt.body);
        require(question.at("model").as_string() == "model" && question.at("temperature").as_int64() == 0);
        const auto &messages = question.at("messages").as_array();
        require(messages.size() == 2 && messages[0].at("role").as_string() == "system" &&
                messages[1].at("role").as_string() == "user");
        require(messages[0].at("content").as_string() == "Into " + request.targetLanguage + ".");
        require(messages[1].at("content").as_string() == "Language spoken: " + request.sourceLanguage +
                                                             "\n<" + prompt.mark + ">\n" + request.text +
                                                             "\n</" + prompt.mark + ">");
    } catch (const Refusal &refusal) {
        require(refusal.status() == 400);
    }
    return 0;
}
