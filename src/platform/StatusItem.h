#pragma once

#include <QRect>
#include <QString>

#include <functional>
#include <optional>

class QIcon;
class QMenu;

namespace quillora::platform {

/// Whom a status item calls, on the main thread, from the event loop.
struct StatusItemListener {
    /// The icon was clicked.
    std::function<void()> activated = [] {};

    /// A tray has come or gone: `isHosted` may be another.
    std::function<void()> hostChanged = [] {};
};

/// The program's icon in the desktop's tray, as long as this object lives. Main thread only.
class StatusItem {
public:
    virtual ~StatusItem() = default;

    /// Trays that tint icons themselves show what the icon theme has under `name`, where it has that; all
    /// others show `drawing`. The description is what the icon is called by whoever cannot see it.
    virtual void setIcon(const QString &name, const QIcon &drawing,
                         const QString &accessibilityDescription) = 0;

    /// What the secondary click offers. The menu is flat, keeps its actions, and must outlive the item.
    virtual void setMenu(QMenu *menu) = 0;

    /// Whether a tray shows the icon at this moment.
    virtual bool isHosted() const = 0;

    /// Where on the screens the icon is, if the desktop has told.
    virtual std::optional<QRect> anchor() const = 0;
};

} // namespace quillora::platform
