#pragma once

#include <QByteArray>

namespace quillora::platform {

/// What names one format of a selection: the target it is asked for by, and the property type and format that
/// the answer carries.
struct X11SelectionType {
    QByteArray target;
    QByteArray type;
    int format = 8; ///< bits of a unit: 8, 16 or 32

    /// The usual case: bytes whose type is named like the target.
    static X11SelectionType bytes(const QByteArray &target) { return {target, target, 8}; }

    bool operator==(const X11SelectionType &) const = default;
};

} // namespace quillora::platform
