#pragma once

#include <QString>

namespace quillora {

/// Whether one version of a model is newer than another: numbers in them count as numbers.
bool isNewer(const QString &version, const QString &other);

} // namespace quillora
