#pragma once

#include <QWidget>

namespace quillora {

/// A thin line between what stands above and below it.
class Divider : public QWidget {
    Q_OBJECT

public:
    explicit Divider(QWidget *parent = nullptr);
};

} // namespace quillora
