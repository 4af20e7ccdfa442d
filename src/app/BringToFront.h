#pragma once

class QWidget;

namespace quillora {

/// Shows a window, be it minimised, in front of the others and asks for the focus.
void bringToFront(QWidget &window);

} // namespace quillora
