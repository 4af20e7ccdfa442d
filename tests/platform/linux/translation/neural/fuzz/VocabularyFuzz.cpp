#include "platform/linux/translation/neural/ModelError.h"
#include "platform/linux/translation/neural/Passages.h"

#include <cstdlib>
#include <sstream>

using namespace quillora::neural;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    std::istringstream in(std::string(reinterpret_cast<const char *>(data), size));
    try {
        const Vocabulary vocabulary(in);
        const std::string text = "ba \xC3\xA4 \xFF \xF0\x9F\x98\x80 a\xCC\x88";
        vocabulary.piecesOf(text);
        vocabulary.decode(vocabulary.encode(text));
        const Passages passages(text, {"de", "en"}, vocabulary);
        for (const Tokens &source : passages.sources()) {
            if (source.size() > Passages::longest)
                std::abort();
        }
    } catch (const ModelError &) {
    }
    return 0;
}
