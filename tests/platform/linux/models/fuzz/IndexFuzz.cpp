#include "platform/linux/models/ModelFault.h"
#include "platform/linux/models/PublisherIndex.h"

#include <cstdlib>

using namespace quillora;
using namespace platform;

/// Any bytes as a publisher's index, of either form: every file lies under the publisher's address.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
    const QByteArray bytes(reinterpret_cast<const char *>(data), static_cast<qsizetype>(size));
    for (const auto form : {ModelIndex::Form::checksums, ModelIndex::Form::translations}) {
        const bool isList = form == ModelIndex::Form::checksums;
        const ModelIndex index{
            form, QUrl(QStringLiteral("https://h/index")), QUrl(QStringLiteral("https://h/m/")),
            isList ? QStringLiteral("a.tar.bz2") : QStringLiteral("en-ru"), QStringLiteral("tiny")};
        try {
            for (const auto &file : filesOf(index, bytes)) {
                if (!file.address.toString().startsWith(u"https://h/m/") || file.name.contains(u'/'))
                    std::abort();
            }
        } catch (const ModelFault &) {
            continue;
        }
    }
    return 0;
}
