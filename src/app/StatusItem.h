#pragma once

#include "controller/DictationState.h"

#include <QObject>
#include <QRect>
#include <QString>

#include <optional>

class QMenu;

namespace quillora {

/// The program's icon in the desktop's tray. It may be made long before a tray is there. Main thread only.
class StatusItem : public QObject {
    Q_OBJECT

public:
    using QObject::QObject;

    virtual void setState(DictationState state, const QString &accessibilityDescription) = 0;

    /// What the secondary click offers. The menu must outlive the item.
    virtual void setMenu(QMenu *menu) = 0;

    /// Whether a tray shows the icon at this moment.
    virtual bool isHosted() const = 0;

    /// Where on the screens the icon is, if the desktop has told.
    virtual std::optional<QRect> anchor() const = 0;

Q_SIGNALS:
    /// The icon was clicked.
    void activated();

    /// A tray has come or gone: `isHosted` may be another.
    void hostChanged();
};

} // namespace quillora
