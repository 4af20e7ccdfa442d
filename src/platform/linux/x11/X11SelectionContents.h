#pragma once

#include "platform/linux/x11/X11SelectionType.h"

#include <QString>

#include <vector>

namespace quillora::platform {

/// Everything that stands on a selection, in its owner's order.
struct X11SelectionContents {
    struct Value {
        X11SelectionType type;
        QByteArray data; ///< units wider than a byte in the machine's byte order

        bool operator==(const Value &) const = default;
    };

    std::vector<Value> values;

    /// The text under every target that can carry it whole: in Unicode always, in Latin-1 where that will do.
    static X11SelectionContents ofText(const QString &text);

    bool operator==(const X11SelectionContents &) const = default;
};

} // namespace quillora::platform
