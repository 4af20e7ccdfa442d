#include "platform/linux/instance/SessionInstance.h"

#include "platform/ApplicationIdentity.h"
#include "platform/linux/MessageBus.h"
#include "platform/linux/x11/X11StartupNotification.h"

#include <QDBusAbstractAdaptor>
#include <QDBusReply>
#include <QDeadlineTimer>
#include <QThread>
#include <QVariantMap>

#include <utility>

using namespace Qt::StringLiterals;

namespace quillora::platform {

namespace {

constexpr int busPatienceMs = 1000;

// The replies of RequestName, as the bus defines them.
constexpr uint becamePrimaryOwner = 1;
constexpr uint wasAlreadyOwner = 4;

/// Held by an instance that cannot answer yet.
const QString startingName = applicationIdentifier + u".Starting"_s;
const QString applicationPath = u"/org/quillora/Quillora"_s;

/// Asks the holder of the name to show itself.
QDBusMessage activation() {
    auto activate = QDBusMessage::createMethodCall(applicationIdentifier, applicationPath,
                                                   u"org.freedesktop.Application"_s, u"Activate"_s);
    return activate << QVariantMap();
}

/// Asks the holder of the name for a sign of life only: for a description of what it offers.
QDBusMessage introspection() {
    return QDBusMessage::createMethodCall(applicationIdentifier, applicationPath,
                                          u"org.freedesktop.DBus.Introspectable"_s, u"Introspect"_s);
}

} // namespace

/// What the desktop may ask of the program, under the names that the desktop uses.
class ApplicationAdaptor : public QDBusAbstractAdaptor {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.Application")

public:
    explicit ApplicationAdaptor(SessionInstance *instance)
        : QDBusAbstractAdaptor(instance), m_instance(instance) {}

public Q_SLOTS:
    // The toolkit takes an activation token from the environment alone, which must not change any more: other
    // threads may be reading it.
    void Activate(const QVariantMap &) { m_instance->tell(&RunningInstanceListener::activated); }
    void Open(const QStringList &, const QVariantMap &) {
        m_instance->tell(&RunningInstanceListener::activated);
    }
    void ActivateAction(const QString &, const QVariantList &, const QVariantMap &) {
        m_instance->tell(&RunningInstanceListener::activated);
    }

private:
    SessionInstance *m_instance;
};

/// What the desktop's own shortcut settings, or any other program, may ask of the program.
class DictationAdaptor : public QDBusAbstractAdaptor {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.quillora.Quillora")

public:
    explicit DictationAdaptor(SessionInstance *instance)
        : QDBusAbstractAdaptor(instance), m_instance(instance) {}

public Q_SLOTS:
    void Press() { m_instance->tell(&RunningInstanceListener::hotKeyPressed); }
    void Release() { m_instance->tell(&RunningInstanceListener::hotKeyReleased); }
    void Toggle() { m_instance->tell(&RunningInstanceListener::dictationToggled); }
    void ShowPanel() { m_instance->tell(&RunningInstanceListener::activated); }

private:
    SessionInstance *m_instance;
};

SessionInstance::SessionInstance(const QByteArray &startupId, const QDBusConnection &bus,
                                 const Patience &patience)
    : m_startupId(startupId), m_bus(bus), m_patience(patience) {
    new ApplicationAdaptor(this);
    new DictationAdaptor(this);
}

RunningInstance::Claim SessionInstance::claim(Start start) {
    if (!m_bus.isConnected())
        return Claim::first;
    m_bus.registerObject(applicationPath, this);
    if (!requestName(applicationIdentifier, allowReplacement | doNotQueue)) {
        waitForStartingHolder();
        if (holderAnswers(start == Start::byUser ? activation() : introspection()))
            return Claim::handedOver;
        requestName(applicationIdentifier, allowReplacement | replaceExisting | doNotQueue);
    }
    requestName(startingName, allowReplacement | replaceExisting | doNotQueue);
    m_bus.connect(busName, busPath, busName, u"NameLost"_s, this, SLOT(handleNameLost(QString)));
    return Claim::first;
}

bool SessionInstance::requestName(const QString &name, uint flags) {
    auto request = callOfBus(u"RequestName"_s);
    request << name << flags;
    const QDBusReply<uint> reply = m_bus.call(request, QDBus::Block, busPatienceMs);
    return reply.isValid() && (reply.value() == becamePrimaryOwner || reply.value() == wasAlreadyOwner);
}

void SessionInstance::waitForStartingHolder() {
    const QDeadlineTimer deadline(m_patience.start);
    auto question = callOfBus(u"NameHasOwner"_s);
    question << startingName;
    while (!deadline.hasExpired() &&
           QDBusReply<bool>(m_bus.call(question, QDBus::Block, busPatienceMs)).value())
        QThread::msleep(20);
}

bool SessionInstance::holderAnswers(const QDBusMessage &question) {
    auto sent = question;
    sent.setAutoStartService(false);
    return m_bus.call(sent, QDBus::Block, static_cast<int>(m_patience.answer.count())).type() ==
           QDBusMessage::ReplyMessage;
}

void SessionInstance::handleNameLost(const QString &name) {
    if (name == applicationIdentifier)
        tell(&RunningInstanceListener::endRequested);
}

void SessionInstance::setListener(std::optional<RunningInstanceListener> listener) {
    m_terminationSignals.reset();
    m_listener = std::move(listener);
    if (!m_listener)
        return;
    // Whoever runs the event loop that calls this can be called by others.
    QMetaObject::invokeMethod(this, &SessionInstance::endStarting, Qt::QueuedConnection);
    connect(&m_terminationSignals.emplace(), &TerminationSignals::received, this,
            [this] { tell(&RunningInstanceListener::endRequested); });
}

void SessionInstance::endStarting() {
    auto release = callOfBus(u"ReleaseName"_s);
    release << startingName;
    m_bus.send(release);
}

void SessionInstance::endStart() { endStartupNotification(m_startupId); }

void SessionInstance::tell(std::function<void()> RunningInstanceListener::*event) const {
    if (!m_listener)
        return;
    const auto call = (*m_listener).*event; // it may end the listening
    call();
}

} // namespace quillora::platform

#include "SessionInstance.moc"
