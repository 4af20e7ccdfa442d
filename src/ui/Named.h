#pragma once

#include <QString>

namespace quillora {

/// The control, by a name that tests find it by.
template <typename Control>
Control *named(Control *control, const QString &objectName) {
    control->setObjectName(objectName);
    return control;
}

} // namespace quillora
