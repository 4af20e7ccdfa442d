// A client's request: read or refused in words, and what is read becomes one question in which the text
// stands between the marks and nowhere else.
#include "backend/Prompt.h"
#include "backend/Refusal.h"
#include "backend/Text.h"

#include <cstdint>
#include <cstdlib>
#include <string_view>

using namespace quillora::backend;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    const std::string_view body(reinterpret_cast<const char *>(data), size);
    try {
        const auto request = TranslationRequest::decoded(body);
        if (isLanguageName(request.sourceLanguage) && request.sourceLanguage.find('\n') != std::string::npos)
            std::abort();
        if (characterCount(trimmed(request.text)) > characterCount(request.text))
            std::abort();
        const Prompt prompt(standardPrompt(), "model", request);
        if (prompt.body.find(prompt.mark) == std::string::npos ||
            request.text.find(prompt.mark) != std::string::npos)
            std::abort();
    } catch (const Refusal &refusal) {
        if (refusal.status() != 400)
            std::abort();
    }
    return 0;
}
