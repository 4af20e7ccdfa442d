#pragma once

#include <QObject>
#include <QPointer>

class QWidget;

namespace quillora {

/// Gives the keyboard focus back to a control that lost it only because it was disabled, once it is enabled
/// again, unless the user has moved the focus meanwhile.
class FocusReturn : public QObject {
    Q_OBJECT

public:
    /// Watches every control that is below `panel` now.
    explicit FocusReturn(QWidget &panel);

    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    QPointer<QWidget> m_waiting; ///< the control that wants the focus back
    QPointer<QWidget> m_standIn; ///< where the toolkit put it meanwhile
};

} // namespace quillora
