#pragma once

#include "platform/KeychainAvailability.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusServiceWatcher>
#include <QObject>

namespace quillora::platform {

class SecretServiceKeychain;

/// Listens for the Secret Service to appear on the session bus, for its collections to be unlocked, and for
/// one that did not answer in time to answer again; the keychain then no longer counts it as absent.
class SecretServiceAvailability : public QObject, public KeychainAvailability {
    Q_OBJECT

public:
    /// `keychain` must outlive this object, which takes its `onAbsence`.
    explicit SecretServiceAvailability(SecretServiceKeychain &keychain,
                                       const QDBusConnection &bus = QDBusConnection::sessionBus());
    ~SecretServiceAvailability() override;

    void setObserver(Observer observer) override;

private Q_SLOTS:
    void collectionChanged(const QDBusMessage &signal);

private:
    void awaitAnswer();
    void notify();

    SecretServiceKeychain &m_keychain;
    QDBusConnection m_bus;
    QDBusServiceWatcher m_watcher;
    Observer m_observer;
    bool m_isAwaitingAnswer = false;
    bool m_isNotifying = false;
};

} // namespace quillora::platform
