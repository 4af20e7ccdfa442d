#pragma once

#include <QPoint>

namespace quillora::platform {

/// A place among the pixels of all screens in the toolkit's measure, in which a screen begins where it begins
/// but is as much smaller as its pixels are closer together.
QPoint fromDevicePixels(const QPoint &place);

} // namespace quillora::platform
