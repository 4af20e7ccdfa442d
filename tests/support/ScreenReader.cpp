#include "support/ScreenReader.h"

#include <QDBusConnectionInterface>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDBusReply>
#include <QDBusVariant>
#include <QStandardPaths>

#include <stdexcept>

using namespace Qt::StringLiterals;

namespace quillora::test {

namespace {
const QString connectionName = u"screen reader"_s;
const QString accessible = u"org.a11y.atspi.Accessible"_s;
constexpr uint notificationRole = 101;
} // namespace

ScreenReader::ScreenReader(const PrivateSessionBus &bus, const QStringList &environment) {
    const QString program = QStandardPaths::findExecutable(u"at-spi-bus-launcher"_s,
                                                           {u"/usr/libexec"_s, u"/usr/lib/at-spi2-core"_s});
    m_service.emplace(program, QStringList{u"--launch-immediately"_s}, environment);
    m_service->waitUntilReady(
        [&bus] { return bus.connection().interface()->isServiceRegistered(u"org.a11y.Bus"_s); });

    const QDBusReply<QString> address = bus.connection().call(QDBusMessage::createMethodCall(
        u"org.a11y.Bus"_s, u"/org/a11y/bus"_s, u"org.a11y.Bus"_s, u"GetAddress"_s));
    auto connection = QDBusConnection::connectToBus(address.value(), connectionName);
    connection.connect({}, {}, u"org.a11y.atspi.Event.Object"_s, u"StateChanged"_s, this,
                       SLOT(hear(QDBusMessage)));
    auto wish = QDBusMessage::createMethodCall(u"org.a11y.atspi.Registry"_s, u"/org/a11y/atspi/registry"_s,
                                               u"org.a11y.atspi.Registry"_s, u"RegisterEvent"_s);
    wish << u"object:state-changed:showing"_s << QStringList() << QString();
    if (connection.call(wish).type() != QDBusMessage::ReplyMessage)
        throw std::runtime_error("the accessibility service lets nobody listen");
}

ScreenReader::~ScreenReader() { QDBusConnection::disconnectFromBus(connectionName); }

void ScreenReader::hear(const QDBusMessage &message) {
    const auto arguments = message.arguments();
    if (arguments.size() < 2 || arguments[0].toString() != u"showing"_s || arguments[1].toInt() != 1)
        return;
    const auto role =
        QDBusMessage::createMethodCall(message.service(), message.path(), accessible, u"GetRole"_s);
    ask<uint>(role, [this, message](uint role) {
        if (role != notificationRole)
            return;
        auto name = QDBusMessage::createMethodCall(message.service(), message.path(),
                                                   u"org.freedesktop.DBus.Properties"_s, u"Get"_s);
        name << accessible << u"Name"_s;
        ask<QDBusVariant>(name, [this](const QDBusVariant &name) { m_spoken += name.variant().toString(); });
    });
}

template <typename Answer, typename Use>
void ScreenReader::ask(const QDBusMessage &question, Use use) {
    auto *watcher = new QDBusPendingCallWatcher(QDBusConnection(connectionName).asyncCall(question), this);
    ++m_questionCount;
    connect(watcher, &QDBusPendingCallWatcher::finished, this, [this, watcher, use] {
        watcher->deleteLater();
        --m_questionCount;
        if (const QDBusPendingReply<Answer> reply = *watcher; reply.isValid())
            use(reply.value());
    });
}

} // namespace quillora::test
