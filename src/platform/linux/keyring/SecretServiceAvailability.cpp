#include "platform/linux/keyring/SecretServiceAvailability.h"

#include <QDBusArgument>

#include <utility>

namespace quillora::platform {

SecretServiceAvailability::SecretServiceAvailability(const QDBusConnection &bus, QObject *parent)
    : QObject(parent), m_bus(bus),
      m_watcher(u"org.freedesktop.secrets"_qs, bus, QDBusServiceWatcher::WatchForRegistration) {
    connect(&m_watcher, &QDBusServiceWatcher::serviceRegistered, this, &SecretServiceAvailability::notify);
    // Any sender: to name the service would make Qt ask the bus, and wait, for who owns the name.
    m_bus.connect({}, {}, u"org.freedesktop.DBus.Properties"_qs, u"PropertiesChanged"_qs,
                  {u"org.freedesktop.Secret.Collection"_qs}, {}, this, SLOT(collectionChanged(QDBusMessage)));
}

void SecretServiceAvailability::setObserver(Observer observer) { m_observer = std::move(observer); }

void SecretServiceAvailability::collectionChanged(const QDBusMessage &signal) {
    const auto changes = qdbus_cast<QVariantMap>(signal.arguments().value(1));
    const QVariant isLocked = changes.value(u"Locked"_qs);
    if (isLocked.isValid() && !isLocked.toBool())
        notify();
}

void SecretServiceAvailability::notify() {
    Q_EMIT becameAvailable();
    if (const Observer observer = m_observer) // a copy: the observer may replace itself
        observer();
}

} // namespace quillora::platform
