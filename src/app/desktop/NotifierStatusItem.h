#pragma once

#include "app/StatusIcon.h"
#include "app/StatusItem.h"
#include "app/desktop/MenuExport.h"

#include <QDBusConnection>
#include <QDBusServiceWatcher>
#include <QMenu>
#include <QPointer>

#include <memory>

namespace quillora {

/// The status item as a StatusNotifierItem on the session bus. It registers with every watcher that comes up,
/// however late, and never waits for one.
class NotifierStatusItem : public StatusItem {
    Q_OBJECT

public:
    /// Whether something on the bus collects items; nobody knows before the bus has answered.
    enum class Watcher { unknown, absent, present };

    explicit NotifierStatusItem(const QDBusConnection &bus);
    ~NotifierStatusItem() override;

    void setState(DictationState state, const QString &accessibilityDescription) override;
    void setMenu(QMenu *menu) override;
    bool isHosted() const override { return m_isRegistered && m_hasHost; }
    std::optional<QRect> anchor() const override { return m_anchor; }

    Watcher watcher() const { return m_watcher; }

Q_SIGNALS:
    /// `watcher` has become known or another, or `isHosted` another.
    void watcherChanged();

private Q_SLOTS:
    void readHost();

private:
    friend class NotifierItemAdaptor;

    void findWatcher();
    void meetWatcher(const QString &owner);
    void registerWithWatcher();
    void activate(int x, int y);
    void showMenu(int x, int y);

    QDBusConnection m_bus;
    QString m_serviceName;
    QDBusServiceWatcher m_ownerWatcher;
    Watcher m_watcher = Watcher::unknown;
    bool m_isRegistered = false;
    bool m_hasHost = false;
    std::optional<QRect> m_anchor; ///< where the last click was
    StatusIcon m_icon{DictationState::idle};
    QString m_accessibilityDescription;
    QPointer<QMenu> m_menu;
    std::unique_ptr<MenuExport> m_menuExport;
};

} // namespace quillora
