#include "app/desktop/RunningInstance.h"

#include "platform/ApplicationIdentity.h"

#include <QDBusAbstractAdaptor>
#include <QDBusReply>
#include <QVariantMap>

namespace quillora {

namespace {

constexpr int busPatienceMs = 1000;
/// One that is merely busy may be in the midst of a dictation, and would lose it by being replaced.
constexpr int holderPatienceMs = 5000;

// The flags and the replies of RequestName, as the bus defines them.
constexpr uint allowReplacement = 1;
constexpr uint replaceExisting = 2;
constexpr uint doNotQueue = 4;
constexpr uint becamePrimaryOwner = 1;
constexpr uint wasAlreadyOwner = 4;

const QString busName = u"org.freedesktop.DBus"_qs;
const QString applicationPath = u"/org/quillora/Quillora"_qs;

/// Asks the holder of the name to show itself.
QDBusMessage activation() {
    auto activate = QDBusMessage::createMethodCall(applicationIdentifier, applicationPath,
                                                   u"org.freedesktop.Application"_qs, u"Activate"_qs);
    return activate << QVariantMap();
}

/// Asks the holder of the name for a sign of life only: for a description of what it offers.
QDBusMessage introspection() {
    return QDBusMessage::createMethodCall(applicationIdentifier, applicationPath,
                                          u"org.freedesktop.DBus.Introspectable"_qs, u"Introspect"_qs);
}

} // namespace

/// What the desktop may ask of the program, under the names that the desktop uses.
class ApplicationAdaptor : public QDBusAbstractAdaptor {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.Application")

public:
    explicit ApplicationAdaptor(RunningInstance *instance)
        : QDBusAbstractAdaptor(instance), m_instance(instance) {}

public Q_SLOTS:
    // The toolkit takes an activation token from the environment alone, which must not change any more: other
    // threads may be reading it.
    void Activate(const QVariantMap &) { Q_EMIT m_instance->activated(); }
    void Open(const QStringList &, const QVariantMap &) { Q_EMIT m_instance->activated(); }
    void ActivateAction(const QString &, const QVariantList &, const QVariantMap &) {
        Q_EMIT m_instance->activated();
    }

private:
    RunningInstance *m_instance;
};

/// What the desktop's own shortcut settings, or any other program, may ask of the program.
class DictationAdaptor : public QDBusAbstractAdaptor {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.quillora.Quillora")

public:
    explicit DictationAdaptor(RunningInstance *instance)
        : QDBusAbstractAdaptor(instance), m_instance(instance) {}

public Q_SLOTS:
    void Press() { Q_EMIT m_instance->pressRequested(); }
    void Release() { Q_EMIT m_instance->releaseRequested(); }
    void Toggle() { Q_EMIT m_instance->toggleRequested(); }
    void ShowPanel() { Q_EMIT m_instance->activated(); }

private:
    RunningInstance *m_instance;
};

RunningInstance::RunningInstance(const QDBusConnection &bus) : m_bus(bus) {
    new ApplicationAdaptor(this);
    new DictationAdaptor(this);
}

RunningInstance::Claim RunningInstance::claim(Start start) {
    if (!m_bus.isConnected())
        return Claim::first;
    m_bus.registerObject(applicationPath, this);
    if (!requestName(allowReplacement | doNotQueue)) {
        if (holderAnswers(start == Start::byUser ? activation() : introspection()))
            return Claim::handedOver;
        requestName(allowReplacement | replaceExisting | doNotQueue);
    }
    m_bus.connect(busName, u"/org/freedesktop/DBus"_qs, busName, u"NameLost"_qs, this,
                  SLOT(handleNameLost(QString)));
    return Claim::first;
}

bool RunningInstance::requestName(uint flags) {
    auto request =
        QDBusMessage::createMethodCall(busName, u"/org/freedesktop/DBus"_qs, busName, u"RequestName"_qs);
    request << applicationIdentifier << flags;
    const QDBusReply<uint> reply = m_bus.call(request, QDBus::Block, busPatienceMs);
    return reply.isValid() && (reply.value() == becamePrimaryOwner || reply.value() == wasAlreadyOwner);
}

bool RunningInstance::holderAnswers(const QDBusMessage &question) {
    auto sent = question;
    sent.setAutoStartService(false);
    return m_bus.call(sent, QDBus::Block, holderPatienceMs).type() == QDBusMessage::ReplyMessage;
}

void RunningInstance::handleNameLost(const QString &name) {
    if (name == applicationIdentifier)
        Q_EMIT replaced();
}

} // namespace quillora

#include "RunningInstance.moc"
