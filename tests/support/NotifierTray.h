#pragma once

#include <QDBusAbstractAdaptor>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusVariant>
#include <QObject>
#include <QStringList>
#include <QVariant>

namespace quillora::test {

/// A tray that collects StatusNotifierItems: watcher and host in one, on a bus of the test's own. It is on
/// the bus for as long as it lives.
class NotifierTray : public QObject {
    Q_OBJECT

public:
    enum class Host { absent, present };

    explicit NotifierTray(const QString &busAddress, Host host = Host::present);
    ~NotifierTray() override;

    /// The services that have registered, in order.
    const QStringList &items() const { return m_items; }

    /// Whether an item has asked for the host, as it does to know whether anybody shows it.
    bool wasAskedForHost() const { return m_wasAskedForHost; }

    /// A host comes up on a watcher that had none.
    void addHost();

    /// From now on it takes no items.
    void refuseItems() { m_isRefusing = true; }

    /// The signals that the item has sent since the last call, by name.
    QStringList takeItemSignals();

    /// Something the item says about itself; invalid if it does not.
    QVariant itemProperty(const QString &name);

    /// Calls a method of the item; the answer's arguments.
    QVariantList callItem(const QString &method, const QVariantList &arguments = {});

    /// Calls a method of the item's menu; the answer's arguments.
    QVariantList callMenu(const QString &method, const QVariantList &arguments = {});

private Q_SLOTS:
    void recordItemSignal(const QDBusMessage &message);

private:
    friend class NotifierTrayAdaptor;

    QVariantList call(const QString &path, const QString &interface, const QString &method,
                      const QVariantList &arguments);
    void addItem(const QString &service, const QDBusMessage &request);

    QDBusConnection m_bus;
    Host m_host;
    bool m_isRefusing = false;
    bool m_wasAskedForHost = false;
    QStringList m_items;
    QStringList m_itemSignals;
};

/// The watcher's face on the bus.
class NotifierTrayAdaptor : public QDBusAbstractAdaptor {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.kde.StatusNotifierWatcher")
    Q_PROPERTY(QStringList RegisteredStatusNotifierItems READ items)
    Q_PROPERTY(bool IsStatusNotifierHostRegistered READ hasHost)
    Q_PROPERTY(int ProtocolVersion READ protocolVersion)

public:
    explicit NotifierTrayAdaptor(NotifierTray *tray) : QDBusAbstractAdaptor(tray), m_tray(tray) {}

    QStringList items() const { return m_tray->m_items; }
    bool hasHost() const {
        m_tray->m_wasAskedForHost = true;
        return m_tray->m_host == NotifierTray::Host::present;
    }
    int protocolVersion() const { return 0; }

public Q_SLOTS:
    void RegisterStatusNotifierItem(const QString &service, const QDBusMessage &request) {
        m_tray->addItem(service, request);
    }
    void RegisterStatusNotifierHost(const QString &) {}

Q_SIGNALS:
    void StatusNotifierItemRegistered(const QString &service);
    void StatusNotifierHostRegistered();

private:
    NotifierTray *m_tray;
};

} // namespace quillora::test
