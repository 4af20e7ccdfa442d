#pragma once

#include "platform/KeychainAvailability.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusServiceWatcher>
#include <QObject>

namespace quillora::platform {

/// Listens for the Secret Service to appear on the session bus and for its collections to be unlocked.
class SecretServiceAvailability : public QObject, public KeychainAvailability {
    Q_OBJECT

public:
    explicit SecretServiceAvailability(const QDBusConnection &bus = QDBusConnection::sessionBus(),
                                       QObject *parent = nullptr);

    void setObserver(Observer observer) override;

Q_SIGNALS:
    /// As the observer hears it, but before.
    void becameAvailable();

private Q_SLOTS:
    void collectionChanged(const QDBusMessage &signal);

private:
    void notify();

    QDBusConnection m_bus;
    QDBusServiceWatcher m_watcher;
    Observer m_observer;
};

} // namespace quillora::platform
