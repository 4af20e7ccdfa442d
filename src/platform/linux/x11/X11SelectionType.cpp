#include "platform/linux/x11/X11SelectionType.h"

#include <QStringList>

namespace quillora::platform {

namespace {
/// Names of atoms are Latin-1, so that nothing beyond it can stand in one.
constexpr QChar separator = u'\u2192';
} // namespace

QString X11SelectionType::toString() const {
    auto name = QString::fromLatin1(target);
    if (*this == bytes(target))
        return name;
    return name + separator + QString::fromLatin1(type) + separator + QString::number(format);
}

X11SelectionType X11SelectionType::fromString(const QString &pasteboardType) {
    const auto parts = pasteboardType.split(separator);
    if (parts.size() != 3)
        return bytes(pasteboardType.toLatin1());
    const int format = parts[2].toInt();
    return {parts[0].toLatin1(), parts[1].toLatin1(), format == 16 || format == 32 ? format : 8};
}

} // namespace quillora::platform
