#include "platform/linux/keyring/SecretServiceAvailability.h"

#include "platform/linux/keyring/SecretServiceKeychain.h"

#include <QDBusArgument>

#include <limits>
#include <utility>

using namespace Qt::StringLiterals;

namespace quillora::platform {

namespace {

const QString serviceName = u"org.freedesktop.secrets"_s;
const QString servicePath = u"/org/freedesktop/secrets"_s;
const QString serviceInterface = u"org.freedesktop.Secret.Service"_s;
const QString promptInterface = u"org.freedesktop.Secret.Prompt"_s;
const QString noObject = u"/"_s;
constexpr int withoutEnd = std::numeric_limits<int>::max();

/// A dialog that comes later than this would come upon whatever the user is doing by then.
constexpr std::chrono::milliseconds dialogPatience(1000);

} // namespace

SecretServiceAvailability::SecretServiceAvailability(SecretServiceKeychain &keychain, MainQueue &queue,
                                                     const QDBusConnection &bus)
    : m_keychain(keychain), m_queue(queue), m_bus(bus),
      m_watcher(serviceName, bus, QDBusServiceWatcher::WatchForRegistration) {
    connect(&m_watcher, &QDBusServiceWatcher::serviceRegistered, this, [this] {
        stopAsking(); // what the one before asked ended with it
        notify();
    });
    // Any sender: to name the service would make Qt ask the bus, and wait, for who owns the name.
    m_bus.connect({}, {}, u"org.freedesktop.DBus.Properties"_s, u"PropertiesChanged"_s,
                  {u"org.freedesktop.Secret.Collection"_s}, {}, this, SLOT(collectionChanged(QDBusMessage)));
    m_bus.connect({}, {}, serviceInterface, u"CollectionCreated"_s, this, SLOT(notify()));
    m_bus.connect({}, {}, promptInterface, u"Completed"_s, this, SLOT(promptCompleted(QDBusMessage)));
    m_keychain.onAbsence = [this] {
        cancelQuestion();
        m_question = m_queue.asyncAfter(SecretServiceKeychain::absence, [this] { ask(); });
    };
}

SecretServiceAvailability::~SecretServiceAvailability() {
    m_keychain.onAbsence = nullptr;
    cancelQuestion();
    stopAsking();
}

void SecretServiceAvailability::setObserver(Observer observer) { m_observer = std::move(observer); }

void SecretServiceAvailability::collectionChanged(const QDBusMessage &signal) {
    const auto changes = qdbus_cast<QVariantMap>(signal.arguments().value(1));
    const QVariant isLocked = changes.value(u"Locked"_s);
    if (isLocked.isValid() && !isLocked.toBool())
        notify();
}

/// Nothing tells that a service which hung goes on. A question that costs it nothing waits in its queue until
/// then; its end is noticed otherwise.
void SecretServiceAvailability::ask() {
    auto question = QDBusMessage::createMethodCall(serviceName, servicePath,
                                                   u"org.freedesktop.DBus.Properties"_s, u"Get"_s);
    question << serviceInterface << u"Collections"_s;
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

void SecretServiceAvailability::askToUnlock(Answered answered) {
    m_answered = std::move(answered);
    if (m_isUserAsked)
        return;
    m_isUserAsked = true;
    m_dialogPatience = m_queue.asyncAfter(dialogPatience, [this] { stopAsking(); });
    auto readAlias =
        QDBusMessage::createMethodCall(serviceName, servicePath, serviceInterface, u"ReadAlias"_s);
    readAlias << u"default"_s;
    request(readAlias, [this](const QDBusMessage &reply) {
        unlock(reply.arguments().value(0).value<QDBusObjectPath>());
    });
}

void SecretServiceAvailability::unlock(const QDBusObjectPath &collection) {
    if (collection.path() == noObject) {
        stopAsking();
        return;
    }
    auto unlock = QDBusMessage::createMethodCall(serviceName, servicePath, serviceInterface, u"Unlock"_s);
    unlock << QVariant::fromValue(QList{collection});
    request(unlock, [this](const QDBusMessage &reply) {
        showPrompt(reply.arguments().value(1).value<QDBusObjectPath>());
    });
}

/// The dialog stands until the user has answered it, which its object tells.
void SecretServiceAvailability::showPrompt(const QDBusObjectPath &prompt) {
    if (prompt.path() == noObject) {
        stopAsking();
        return;
    }
    m_dialogPatience->cancel();
    m_prompt = prompt.path();
    auto show = QDBusMessage::createMethodCall(serviceName, m_prompt, promptInterface, u"Prompt"_s);
    show << QString(); // beside no window
    request(show, [](const QDBusMessage &) {});
}

void SecretServiceAvailability::promptCompleted(const QDBusMessage &signal) {
    if (signal.path() != m_prompt)
        return;
    const auto answered = std::exchange(m_answered, {});
    stopAsking();
    if (answered)
        answered();
}

void SecretServiceAvailability::stopAsking() {
    if (m_dialogPatience)
        m_dialogPatience->cancel();
    if (m_reply) {
        m_reply->disconnect(this);
        m_reply->deleteLater();
    }
    m_prompt.clear();
    m_answered = {};
    m_isUserAsked = false;
}

/// A refusal ends the asking.
void SecretServiceAvailability::request(QDBusMessage message,
                                        std::function<void(const QDBusMessage &)> andThen) {
    message.setAutoStartService(false);
    m_reply = new QDBusPendingCallWatcher(m_bus.asyncCall(message, withoutEnd), this);
    connect(m_reply, &QDBusPendingCallWatcher::finished, this,
            [this, andThen = std::move(andThen)](QDBusPendingCallWatcher *reply) {
                reply->deleteLater();
                if (reply->isError())
                    stopAsking();
                else
                    andThen(reply->reply());
            });
}

void SecretServiceAvailability::notify() {
    cancelQuestion();
    m_keychain.endAbsence();
    if (const Observer observer = m_observer) // a copy: the observer may replace itself
        observer();
}

} // namespace quillora::platform
