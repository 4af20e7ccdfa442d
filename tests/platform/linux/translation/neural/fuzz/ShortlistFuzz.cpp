#include "platform/linux/translation/neural/ModelError.h"
#include "platform/linux/translation/neural/Shortlist.h"

#include <sstream>

using namespace quillora::neural;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    std::istringstream in(std::string(reinterpret_cast<const char *>(data), size));
    try {
        const Shortlist shortlist(in, 40, 40, Shortlist::Vocabularies::Shared);
        shortlist.candidates(Tokens{2, 3, 39, 0});
    } catch (const ModelError &) {
    }
    return 0;
}
