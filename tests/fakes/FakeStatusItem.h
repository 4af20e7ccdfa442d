#pragma once

#include "app/StatusItem.h"

#include <QStringList>

namespace quillora::test {

/// An icon in a tray that a test owns.
class FakeStatusItem : public StatusItem {
public:
    void setImage(const QString &symbolName, const QString &accessibilityDescription) override {
        images += symbolName;
        description = accessibilityDescription;
    }
    void setMenu(QMenu *newMenu) override { menu = newMenu; }
    bool isHosted() const override { return hasTray; }
    std::optional<QRect> anchor() const override { return position; }

    QString image() const { return images.last(); }
    void click() { Q_EMIT activated(); }

    /// A tray comes or goes.
    void setTray(bool isThere) {
        hasTray = isThere;
        Q_EMIT hostChanged();
    }

    QStringList images; ///< all that were set, in order
    QString description;
    QMenu *menu = nullptr;
    bool hasTray = true;
    std::optional<QRect> position;
};

} // namespace quillora::test
