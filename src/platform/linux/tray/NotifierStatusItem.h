#pragma once

#include "platform/linux/tray/MenuExport.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCall>
#include <QDBusServiceWatcher>
#include <QIcon>
#include <QMenu>
#include <QPointer>

#include <functional>
#include <memory>
#include <optional>

namespace quillora::platform {

/// The status item as a StatusNotifierItem on the session bus. It registers with every watcher that comes up,
/// however late, and never waits for one.
class NotifierStatusItem final : public QObject {
    Q_OBJECT

public:
    /// Whether something on the bus collects items; nobody knows before the bus has answered. One that goes
    /// may be back by the time we hear of that, so the bus is asked again.
    enum class Watcher { unknown, absent, present };

    explicit NotifierStatusItem(const QDBusConnection &bus);
    ~NotifierStatusItem() override;

    void setIcon(const QString &name, const QIcon &drawing, const QString &accessibilityDescription);
    void setMenu(QMenu *menu);
    bool isHosted() const { return m_isRegistered && m_hasHost; }
    std::optional<QRect> anchor() const { return m_anchor; }

    Watcher watcher() const { return m_watcher; }

Q_SIGNALS:
    void activated();

    /// `watcher` has become known or another, or `isHosted` another.
    void watcherChanged();

private Q_SLOTS:
    void readHost();

private:
    friend class NotifierItemAdaptor;

    /// What is asked on the bus is answered from the event loop, as long as this lives.
    void ask(const QDBusMessage &question, const std::function<void(const QDBusPendingCall &)> &then);
    void findWatcher();
    void meetWatcher(Watcher watcher, const QString &owner = {});
    void registerWithWatcher();
    void activate(int x, int y);
    void showMenu(int x, int y);

    QDBusConnection m_bus;
    QString m_serviceName;
    QDBusServiceWatcher m_ownerWatcher;
    Watcher m_watcher = Watcher::unknown;
    QString m_watcherOwner; ///< its name on the bus, while it is present
    bool m_isRegistered = false;
    bool m_hasHost = false;
    std::optional<QRect> m_anchor; ///< where the last click was
    QString m_iconName;
    QIcon m_drawing;
    QString m_accessibilityDescription;
    QPointer<QMenu> m_menu;
    std::unique_ptr<MenuExport> m_menuExport;
};

} // namespace quillora::platform
