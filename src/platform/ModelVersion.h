#pragma once

#include <QString>

namespace quillora::platform {

/// Whether one version of a model is newer than another: numbers in them count as numbers. What is offered as
/// an update and what an installation takes for one are decided by it alike.
bool isNewer(const QString &version, const QString &other);

} // namespace quillora::platform
