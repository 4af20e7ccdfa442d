#include "platform/linux/translation/neural/GreedySearch.h"
#include "platform/linux/translation/neural/ModelError.h"

#include <sstream>

using namespace quillora::neural;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    std::istringstream in(std::string(reinterpret_cast<const char *>(data), size));
    try {
        const Network network(in);
        const auto threeTokens = [](std::size_t) -> std::size_t { return 3; };
        const GreedySearch search(network, nullptr, fastestKernels(), {0, 1, threeTokens});
        const Token last = Token(network.configuration().sourceVocabulary) - 1;
        search.translate(std::vector<Tokens>{{last, 0}, {0}}, {});
    } catch (const ModelError &) {
    }
    return 0;
}
