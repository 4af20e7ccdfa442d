#pragma once

#include "platform/linux/models/ModelFault.h"

#include <QByteArray>
#include <QString>

namespace quillora::platform {

/// The SHA-256 of a file in hexadecimal digits, read in small portions. A file that cannot be read is a
/// ModelFault with the system's reason.
QByteArray checksumOf(const QString &path, const IsUnwanted &isUnwanted);

/// Whether that could be one, whatever the case of its digits.
bool isSha256(const QByteArray &text);

} // namespace quillora::platform
