// A model's answer: a translation that is not blank, or a refusal in words. The first line is the text that
// was dictated.
#include "backend/ModelAnswer.h"
#include "backend/Refusal.h"
#include "backend/Text.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

using namespace quillora::backend;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    const std::string_view input(reinterpret_cast<const char *>(data), size);
    const auto end = std::min(input.find('\n'), input.size());
    const TranslationRequest request{std::string(input.substr(0, end)), "English", "Kazakh"};
    try {
        const auto translation = translationIn(input.substr(end), request, "text-0123456789abcdef");
        if (trimmed(translation) != translation || translation.empty())
            std::abort();
    } catch (const Refusal &refusal) {
        if (refusal.status() != 502)
            std::abort();
    }
    return 0;
}
