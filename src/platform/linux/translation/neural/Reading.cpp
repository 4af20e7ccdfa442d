#include "platform/linux/translation/neural/Reading.h"

#include "platform/linux/translation/neural/ModelError.h"

#include <string>

namespace quillora::neural {

std::uint64_t sizeOf(std::istream &in, std::string_view what) {
    in.seekg(0, std::ios::end);
    const std::streamoff size = in.tellg();
    in.seekg(0);
    if (!in || size < 0)
        throw ModelError("The " + std::string(what) + " cannot be read.");
    return std::uint64_t(size);
}

void readExactly(std::istream &in, void *to, std::uint64_t size, std::string_view what) {
    if (in.read(static_cast<char *>(to), std::streamsize(size)))
        return;
    const std::string sentence = "The " + std::string(what) + " cannot be read to its end.";
    if (in.bad())
        throw std::runtime_error(sentence);
    throw ModelError(sentence);
}

} // namespace quillora::neural
