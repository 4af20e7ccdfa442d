#pragma once

#include <QString>

namespace quillora {

/// What the program is called wherever it must be called the same: the D-Bus name, the desktop file, the
/// icon.
inline const QString applicationIdentifier = QStringLiteral("org.quillora.Quillora");

/// The name that people see; also the class of the program's windows.
inline const QString applicationName = QStringLiteral("Quillora");

} // namespace quillora
