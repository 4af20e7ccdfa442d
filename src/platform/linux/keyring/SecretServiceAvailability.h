#pragma once

#include "platform/KeychainAvailability.h"
#include "platform/MainQueue.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusObjectPath>
#include <QDBusPendingCallWatcher>
#include <QDBusServiceWatcher>
#include <QObject>
#include <QPointer>

#include <memory>

namespace quillora::platform {

class SecretServiceKeychain;

/// Listens for the Secret Service to appear on the session bus and for its collections to be made and
/// unlocked; the keychain then no longer counts it as absent. One that did not answer in time is asked again
/// when its absence is over, and counts as there once it answers.
///
/// The user is asked to unlock the default collection alone: making one would mean to ask for a new password.
class SecretServiceAvailability : public QObject, public KeychainAvailability {
    Q_OBJECT

public:
    /// `keychain` must outlive this object, which takes its `onAbsence`, and so must `queue`, which keeps its
    /// time.
    SecretServiceAvailability(SecretServiceKeychain &keychain, MainQueue &queue,
                              const QDBusConnection &bus = QDBusConnection::sessionBus());
    ~SecretServiceAvailability() override;

    void setObserver(Observer observer) override;
    void askToUnlock(Answered answered) override;

private Q_SLOTS:
    void collectionChanged(const QDBusMessage &signal);
    void promptCompleted(const QDBusMessage &signal);
    void notify();

private:
    void ask();
    void cancelQuestion();
    void unlock(const QDBusObjectPath &collection);
    void showPrompt(const QDBusObjectPath &prompt);
    void stopAsking();
    void request(QDBusMessage message, std::function<void(const QDBusMessage &)> andThen);

    SecretServiceKeychain &m_keychain;
    MainQueue &m_queue;
    QDBusConnection m_bus;
    QDBusServiceWatcher m_watcher;
    Observer m_observer;
    std::shared_ptr<WorkItem> m_question; ///< to be asked
    QPointer<QDBusPendingCallWatcher> m_answer;

    bool m_isUserAsked = false;                 ///< or about to be
    QPointer<QDBusPendingCallWatcher> m_reply;  ///< the next one on the way to the dialog
    std::shared_ptr<WorkItem> m_dialogPatience; ///< ends that way
    QString m_prompt;                           ///< the dialog's object
    Answered m_answered;
};

} // namespace quillora::platform
