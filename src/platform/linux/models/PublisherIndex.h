#pragma once

#include "platform/linux/models/ModelCatalog.h"

namespace quillora::platform {

/// The files of a model, as its publisher's index names them, with what the index says of their sizes and
/// checksums. Throws a ModelFault where the index does not parse, does not know the model, or names a file
/// that lies outside the index's own address for files.
QList<ModelFile> filesOf(const ModelIndex &index, const QByteArray &contents);

/// No publisher's index is longer.
inline constexpr qint64 longestIndex = qint64{16} << 20;

} // namespace quillora::platform
