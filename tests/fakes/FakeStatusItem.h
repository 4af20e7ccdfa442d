#pragma once

#include "app/StatusItem.h"

#include <QList>

namespace quillora::test {

/// An icon in a tray that a test owns.
class FakeStatusItem : public StatusItem {
public:
    void setState(DictationState state, const QString &accessibilityDescription) override {
        states += state;
        description = accessibilityDescription;
    }
    void setMenu(QMenu *newMenu) override { menu = newMenu; }
    bool isHosted() const override { return hasTray; }
    std::optional<QRect> anchor() const override { return position; }

    DictationState state() const { return states.last(); }
    void click() { Q_EMIT activated(); }

    /// A tray comes or goes.
    void setTray(bool isThere) {
        hasTray = isThere;
        Q_EMIT hostChanged();
    }

    QList<DictationState> states; ///< all that were set, in order
    QString description;
    QMenu *menu = nullptr;
    bool hasTray = true;
    std::optional<QRect> position;
};

} // namespace quillora::test
