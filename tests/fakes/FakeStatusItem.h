#pragma once

#include "platform/StatusItem.h"

#include <QStringList>

#include <utility>

namespace quillora::test {

/// An icon in a tray that a test owns.
class FakeStatusItem : public platform::StatusItem {
public:
    explicit FakeStatusItem(platform::StatusItemListener listener) : m_listener(std::move(listener)) {}

    void setIcon(const QString &name, const QIcon &, const QString &accessibilityDescription) override {
        icons += name;
        description = accessibilityDescription;
    }
    void setMenu(QMenu *newMenu) override { menu = newMenu; }
    bool isHosted() const override { return hasTray; }
    std::optional<QRect> anchor() const override { return position; }

    /// The user clicks on it.
    void click() { m_listener.activated(); }

    /// A tray comes or goes.
    void setTray(bool isThere) {
        hasTray = isThere;
        m_listener.hostChanged();
    }

    QStringList icons; ///< the names of all that were set, in order
    QString description;
    QMenu *menu = nullptr;
    bool hasTray = true;
    std::optional<QRect> position;

private:
    const platform::StatusItemListener m_listener;
};

} // namespace quillora::test
