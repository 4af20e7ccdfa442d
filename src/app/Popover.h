#pragma once

#include "platform/MainQueue.h"
#include "platform/OwnWindows.h"
#include "platform/Workspace.h"

#include <QWidget>

#include <chrono>
#include <functional>
#include <memory>
#include <optional>

namespace quillora {

class PanelScroller;

/// The window around the panel: a popover beside the status item, or an ordinary window where there is no
/// tray to open from. Shown and closed any number of times; the content lives on.
class Popover : public QWidget {
    Q_OBJECT

public:
    /// It is as large as the content wants to be, and a border; the content scrolls where the screen has no
    /// room for that.
    explicit Popover(std::unique_ptr<QWidget> content);
    ~Popover() override;

    /// Asked when the popover has lost the focus: whether it stays open all the same.
    std::function<bool()> staysOpen;

    /// Asked when the window is closed: whether it would be out of reach then. If so it is only minimised.
    std::function<bool()> isOnlyWayIn;

    bool isShown() const { return isVisible() && !isMinimized(); }

    /// Whether it is beside its anchor; a window goes where the desktop puts it.
    bool isAttached() const { return m_presentation == Presentation::attached; }

    /// Opens beside `anchor`, else in the corner nearest to the pointer, or wherever a desktop puts it that
    /// places windows itself; closes when it loses the focus. If it does not get the focus, it closes when
    /// another application is activated, or at a click elsewhere.
    void showAttached(const std::optional<QRect> &anchor);

    /// Opens as a window that the user may move, minimise and close.
    void showAsWindow();

    /// Puts that window among the minimised ones, without disturbing anybody. Does nothing to what is there
    /// already.
    void showAsMinimisedWindow();

    /// A dialog of the desktop is about to come over it. It may be gone before it was seen to be there.
    void expectSystemDialog();

    /// Comes to the front again after another window of the program's own. Does nothing if it is not shown.
    void returnToFront();

    void performClose();

Q_SIGNALS:
    /// It was closed or minimised.
    void closed();

protected:
    void changeEvent(QEvent *event) override;
    void closeEvent(QCloseEvent *event) override;
    void hideEvent(QHideEvent *event) override;
    void paintEvent(QPaintEvent *event) override;
    void resizeEvent(QResizeEvent *event) override;

private:
    enum class Presentation { attached, window };

    void adopt(Presentation presentation);
    void place();
    void fitWindowIntoScreen();
    void watchForInterestElsewhere();
    void loseInterest();
    void awaitFocus();
    void awaitFocus(std::chrono::milliseconds patience);
    bool isAttended() const;
    bool isUnderSystemDialog() const;
    void closeIfAbandoned();

    PanelScroller *m_scroller; ///< owned by this widget

    std::optional<Presentation> m_presentation; ///< none until it was first shown
    std::optional<QRect> m_anchor;
    QPoint m_pointer;         ///< where the pointer was at the opening
    bool m_sawDialog = false; ///< since the focus was last looked for
    bool m_expectsDialog = false;
    bool m_awaitsReturn = false; ///< after a dialog, until its answer must have brought the popover back
    std::shared_ptr<platform::WorkItem> m_focusCheck;
    std::unique_ptr<platform::PointerWatch> m_pointerWatch;      ///< while it is open beside its anchor
    platform::Workspace::ObserverToken m_activationObserver = 0; ///< likewise
};

} // namespace quillora
