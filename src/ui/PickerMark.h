#pragma once

#include "ui/Picker.h"

namespace quillora {

/// The mark of what a picker has chosen, for a place beside its title: within the picker it would take the
/// room of the name.
class PickerMark : public QWidget {
    Q_OBJECT

public:
    /// `picker` outlives it.
    explicit PickerMark(Picker &picker, QWidget *parent = nullptr);

    QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent *event) override;

private:
    void showMark();
    void paintRing(QPainter &painter, const QRect &square, int percent) const;

    const Picker &m_picker;
};

} // namespace quillora
