#pragma once

#include <QObject>
#include <QPointer>

class QWidget;

namespace quillora {

/// Gives the keyboard focus back to a control that lost it only because it was disabled, once it is enabled
/// again, unless the user has moved the focus meanwhile. The panel need not be the active window, nor open.
class FocusReturn : public QObject {
    Q_OBJECT

public:
    /// Watches every control that is below `panel` now.
    explicit FocusReturn(QWidget &panel);

    bool eventFilter(QObject *watched, QEvent *event) override;

private:
    /// Notes where the focus is now, and whether it came there by itself.
    void follow(QWidget *focused);

    QPointer<QWidget> m_waiting; ///< the control that wants the focus back
    QPointer<QWidget> m_focused; ///< where the focus was last seen
};

} // namespace quillora
