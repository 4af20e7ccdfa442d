#include "platform/linux/translation/neural/Passages.h"
#include "support/neural/ModelWriter.h"

#include <cstdlib>
#include <sstream>

using namespace quillora;
using namespace quillora::neural;

/// Any bytes as a text: nothing of it is lost, and no passage is too long.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    static const Vocabulary vocabulary = [] {
        std::vector<test::VocabularyPiece> pieces{{"</s>", 0, 3}, {"<unk>", 0, 2}, {"\u2581"}};
        for (char letter = '!'; letter <= '~'; ++letter)
            pieces.push_back({{letter}});
        std::istringstream in(test::vocabularyFile(pieces));
        return Vocabulary(in);
    }();
    static constexpr const char *languages[] = {"ar", "de", "en", "ja", "th", "tr", "zh", ""};
    if (size == 0)
        return 0;
    const std::string language = languages[data[0] % std::size(languages)];
    const std::string text(reinterpret_cast<const char *>(data) + 1, size - 1);
    const Passages passages(text, {language, "en"}, vocabulary);
    const std::vector<std::string> untranslated(passages.sources().size());
    if (passages.joined(untranslated).size() < text.size())
        std::abort();
    for (const Tokens &source : passages.sources()) {
        if (source.size() > Passages::longest)
            std::abort();
    }
    return 0;
}
