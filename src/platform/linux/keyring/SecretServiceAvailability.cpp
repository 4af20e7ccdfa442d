#include "platform/linux/keyring/SecretServiceAvailability.h"

#include "platform/linux/keyring/SecretServiceKeychain.h"

#include <QDBusArgument>

#include <limits>
#include <utility>

namespace quillora::platform {

namespace {

const QString serviceName = u"org.freedesktop.secrets"_qs;
constexpr int withoutEnd = std::numeric_limits<int>::max();

} // namespace

SecretServiceAvailability::SecretServiceAvailability(SecretServiceKeychain &keychain, MainQueue &queue,
                                                     const QDBusConnection &bus)
    : m_keychain(keychain), m_queue(queue), m_bus(bus),
      m_watcher(serviceName, bus, QDBusServiceWatcher::WatchForRegistration) {
    connect(&m_watcher, &QDBusServiceWatcher::serviceRegistered, this, &SecretServiceAvailability::notify);
    // Any sender: to name the service would make Qt ask the bus, and wait, for who owns the name.
    m_bus.connect({}, {}, u"org.freedesktop.DBus.Properties"_qs, u"PropertiesChanged"_qs,
                  {u"org.freedesktop.Secret.Collection"_qs}, {}, this, SLOT(collectionChanged(QDBusMessage)));
    m_bus.connect({}, {}, u"org.freedesktop.Secret.Service"_qs, u"CollectionCreated"_qs, this,
                  SLOT(notify()));
    m_keychain.onAbsence = [this] {
        cancelQuestion();
        m_question = m_queue.asyncAfter(SecretServiceKeychain::absence, [this] { ask(); });
    };
}

SecretServiceAvailability::~SecretServiceAvailability() {
    m_keychain.onAbsence = nullptr;
    cancelQuestion();
}

void SecretServiceAvailability::setObserver(Observer observer) { m_observer = std::move(observer); }

int SecretServiceAvailability::failedChangeCount() const { return m_keychain.failedChangeCount(); }

void SecretServiceAvailability::collectionChanged(const QDBusMessage &signal) {
    const auto changes = qdbus_cast<QVariantMap>(signal.arguments().value(1));
    const QVariant isLocked = changes.value(u"Locked"_qs);
    if (isLocked.isValid() && !isLocked.toBool())
        notify();
}

/// Nothing tells that a service which hung goes on. A question that costs it nothing waits in its queue until
/// then; its end is noticed otherwise.
void SecretServiceAvailability::ask() {
    auto question = QDBusMessage::createMethodCall(serviceName, u"/org/freedesktop/secrets"_qs,
                                                   u"org.freedesktop.DBus.Properties"_qs, u"Get"_qs);
    question << u"org.freedesktop.Secret.Service"_qs << u"Collections"_qs;
    question.setAutoStartService(false);
    delete m_answer;
    m_answer = new QDBusPendingCallWatcher(m_bus.asyncCall(question, withoutEnd), this);
    connect(m_answer, &QDBusPendingCallWatcher::finished, this, [this](QDBusPendingCallWatcher *answer) {
        answer->deleteLater();
        if (!answer->isError())
            notify();
    });
}

void SecretServiceAvailability::cancelQuestion() {
    if (m_question)
        m_question->cancel();
}

void SecretServiceAvailability::notify() {
    cancelQuestion();
    m_keychain.endAbsence();
    if (const Observer observer = m_observer) // a copy: the observer may replace itself
        observer();
}

} // namespace quillora::platform
