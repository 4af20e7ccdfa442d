#pragma once

#include <QStringList>

#include <optional>

namespace quillora {

/// How much comes over the network.
struct DownloadSize {
    qint64 bytes = 0;
    bool isWhole = true;     ///< false where the size of something is not known
    bool isEstimate = false; ///< where only what it takes on the disk is known of something

    bool operator==(const DownloadSize &) const = default;
};

/// What something takes on this computer, as things are now.
struct ModelNeed {
    enum class Standing {
        ready,    ///< it can be done
        missing,  ///< models are to be installed
        arriving, ///< all of these are on their way
        unserved  ///< nothing can do it
    };

    Standing standing = Standing::ready;
    QStringList missing;        ///< models to be installed, each once, in the order of use
    DownloadSize size;          ///< of these
    std::optional<int> percent; ///< how far those that are on their way are, from 0 to 100
    bool isByWayOfEnglish = false;

    bool operator==(const ModelNeed &) const = default;
};

} // namespace quillora
