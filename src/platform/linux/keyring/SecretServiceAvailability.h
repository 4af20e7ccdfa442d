#pragma once

#include "platform/KeychainAvailability.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusServiceWatcher>
#include <QObject>

namespace quillora::platform {

class SecretServiceKeychain;

/// Listens for the Secret Service to appear on the session bus and for its collections to be unlocked; the
/// keychain then no longer counts it as absent.
class SecretServiceAvailability : public QObject, public KeychainAvailability {
    Q_OBJECT

public:
    /// `keychain` must outlive this object.
    explicit SecretServiceAvailability(SecretServiceKeychain &keychain,
                                       const QDBusConnection &bus = QDBusConnection::sessionBus());

    void setObserver(Observer observer) override;

private Q_SLOTS:
    void collectionChanged(const QDBusMessage &signal);

private:
    void notify();

    SecretServiceKeychain &m_keychain;
    QDBusConnection m_bus;
    QDBusServiceWatcher m_watcher;
    Observer m_observer;
};

} // namespace quillora::platform
