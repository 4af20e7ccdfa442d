#include "support/ScreenReader.h"

#include <QDBusConnectionInterface>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDBusReply>
#include <QDBusVariant>
#include <QStandardPaths>

#include <stdexcept>

namespace quillora::test {

namespace {
const QString connectionName = u"screen reader"_qs;
}

ScreenReader::ScreenReader(const PrivateSessionBus &bus, const QStringList &environment) {
    const QString program = QStandardPaths::findExecutable(u"at-spi-bus-launcher"_qs,
                                                           {u"/usr/libexec"_qs, u"/usr/lib/at-spi2-core"_qs});
    m_service.emplace(program, QStringList{u"--launch-immediately"_qs}, environment);
    const bool isUp = ChildProcess::waitUntil(
        [&bus] { return bus.connection().interface()->isServiceRegistered(u"org.a11y.Bus"_qs); });
    if (!isUp)
        throw std::runtime_error("the accessibility service does not come up");

    const QDBusReply<QString> address = bus.connection().call(QDBusMessage::createMethodCall(
        u"org.a11y.Bus"_qs, u"/org/a11y/bus"_qs, u"org.a11y.Bus"_qs, u"GetAddress"_qs));
    auto connection = QDBusConnection::connectToBus(address.value(), connectionName);
    connection.connect({}, {}, u"org.a11y.atspi.Event.Object"_qs, u"PropertyChange"_qs, this,
                       SLOT(hear(QDBusMessage)));
    auto wish = QDBusMessage::createMethodCall(u"org.a11y.atspi.Registry"_qs, u"/org/a11y/atspi/registry"_qs,
                                               u"org.a11y.atspi.Registry"_qs, u"RegisterEvent"_qs);
    wish << u"object:property-change"_qs << QStringList() << QString();
    if (connection.call(wish).type() != QDBusMessage::ReplyMessage)
        throw std::runtime_error("the accessibility service lets nobody listen");
}

ScreenReader::~ScreenReader() { QDBusConnection::disconnectFromBus(connectionName); }

void ScreenReader::hear(const QDBusMessage &message) {
    const auto arguments = message.arguments();
    if (arguments.isEmpty() || arguments[0].toString() != u"accessible-name"_qs)
        return;
    ++m_changeCount;
    // The toolkit's event tells which object has a new name, but not the name.
    auto question = QDBusMessage::createMethodCall(message.service(), message.path(),
                                                   u"org.freedesktop.DBus.Properties"_qs, u"Get"_qs);
    question << u"org.a11y.atspi.Accessible"_qs << u"Name"_qs;
    auto *watcher = new QDBusPendingCallWatcher(QDBusConnection(connectionName).asyncCall(question), this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this, [this, watcher] {
        watcher->deleteLater();
        if (const QDBusPendingReply<QDBusVariant> reply = *watcher; reply.isValid())
            m_heardNames += reply.value().variant().toString();
    });
}

} // namespace quillora::test
