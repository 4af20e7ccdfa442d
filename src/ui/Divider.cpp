#include "ui/Divider.h"

namespace quillora {

Divider::Divider(QWidget *parent) : QWidget(parent) {
    setFixedHeight(1);
    setAutoFillBackground(true);
    setBackgroundRole(QPalette::Mid);
}

} // namespace quillora
