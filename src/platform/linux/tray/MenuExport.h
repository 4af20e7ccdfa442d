#pragma once

#include <QDBusConnection>
#include <QObject>
#include <QVariantMap>

class QAction;
class QMenu;

namespace quillora::platform {

/// Lets the tray show a menu: exports it on the session bus as com.canonical.dbusmenu and triggers what is
/// chosen there. The menu is flat, keeps its actions for as long as this lives, and outlives it.
class MenuExport : public QObject {
    Q_OBJECT

public:
    static const QString objectPath;

    MenuExport(const QDBusConnection &bus, QMenu &menu);
    ~MenuExport() override;

private:
    friend class MenuAdaptor;

    /// The items are numbered from 1; 0 is the menu itself.
    QAction *action(int id) const;
    QVariantMap properties(int id) const;
    int itemCount() const;
    void handleEvent(int id, const QString &name) const;
    void prepareToShow() const;

    QDBusConnection m_bus;
    QMenu &m_menu;
};

} // namespace quillora::platform
