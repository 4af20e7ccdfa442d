#pragma once

#include <QString>

namespace quillora::platform {

/// The path of a file below a folder, as strangers write it, in one spelling: parts joined by '/', without
/// "." among them. Null where it might lead anywhere else, or be something that not every file system and
/// every terminal takes: absolute, with "..", a backslash, a colon, control characters, an empty part or one
/// of more than 255 bytes, more than 16 parts.
QString safePath(const QString &path);

/// Whether it can name a folder for a model or a version: letters, digits, '.', '_', '-', and no '.' first.
bool isFolderName(const QString &name);

/// The same for two paths that some file system or some eye takes for one.
QString twinKey(const QString &path);

} // namespace quillora::platform
