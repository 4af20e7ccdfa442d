#include "app/BringToFront.h"

#include <QWidget>

namespace quillora {

void bringToFront(QWidget &window) {
    window.setWindowState(window.windowState() & ~Qt::WindowMinimized);
    window.show();
    window.raise();
    window.activateWindow();
}

} // namespace quillora
