#include "platform/linux/models/ModelCatalog.h"
#include "platform/linux/models/SafePath.h"

#include <QSet>

#include <cstdlib>

using namespace quillora;
using namespace platform;

/// Any bytes as what a person put beside the catalog: what is taken of them can be installed and fetched.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    const QByteArray bytes(reinterpret_cast<const char *>(data), static_cast<qsizetype>(size));
    const ModelCatalog catalog({{QStringLiteral("/catalog"), bytes}}, {QStringLiteral("sherpa")});
    QSet<QString> ids;
    for (const auto &entry : catalog.entries()) {
        if (!isFolderName(entry.description.id) || !isFolderName(entry.description.version) ||
            ids.contains(entry.description.id) || entry.files.isEmpty() == !entry.index)
            std::abort();
        ids.insert(entry.description.id);
        for (const auto &file : entry.files) {
            if (file.address.scheme() != u"https" || file.name.startsWith(u'/') || file.name.contains(u"../"))
                std::abort();
        }
    }
    return 0;
}
