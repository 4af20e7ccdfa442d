#include "platform/linux/models/ModelManifest.h"

#include <cstdlib>

using namespace quillora;
using namespace platform;

/// Any bytes as a manifest: what is read of them is written and read again as the same.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    const QByteArray bytes(reinterpret_cast<const char *>(data), static_cast<qsizetype>(size));
    try {
        const auto manifest = ModelManifest::fromJson(bytes);
        if (ModelManifest::fromJson(manifest.toJson()) != manifest)
            std::abort();
    } catch (const ModelFault &) {
        return 0;
    }
    return 0;
}
