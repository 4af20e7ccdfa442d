#pragma once

#include <QString>

namespace quillora {

/// Whether a program of this identifier only ever asks the user something on behalf of the desktop: a
/// password, a permission.
bool isSystemDialog(const QString &bundleIdentifier);

} // namespace quillora
