#include "support/NotifierTray.h"

#include "support/ChildProcess.h"

#include <QDBusMessage>
#include <QDBusPendingCall>

using namespace Qt::StringLiterals;

namespace quillora::test {

namespace {

const QString watcherName = u"org.kde.StatusNotifierWatcher"_s;
const QString watcherPath = u"/StatusNotifierWatcher"_s;
const QString itemInterface = u"org.kde.StatusNotifierItem"_s;
const QString itemPath = u"/StatusNotifierItem"_s;
const QString menuInterface = u"com.canonical.dbusmenu"_s;
const QString menuPath = u"/MenuBar"_s;

QString nextConnectionName() {
    static int count = 0;
    return u"notifier-tray-%1"_s.arg(++count);
}

} // namespace

NotifierTray::NotifierTray(const QString &busAddress, Host host)
    : m_bus(QDBusConnection::connectToBus(busAddress, nextConnectionName())), m_host(host) {
    new NotifierTrayAdaptor(this);
    m_bus.registerObject(watcherPath, this);
    for (const QString &signal : {u"NewIcon"_s, u"NewTitle"_s, u"NewToolTip"_s})
        m_bus.connect({}, itemPath, itemInterface, signal, this, SLOT(recordItemSignal(QDBusMessage)));
    m_bus.registerService(watcherName);
}

NotifierTray::~NotifierTray() { QDBusConnection::disconnectFromBus(m_bus.name()); }

void NotifierTray::addHost() {
    m_host = Host::present;
    Q_EMIT findChild<NotifierTrayAdaptor *>()->StatusNotifierHostRegistered();
}

void NotifierTray::addItem(const QString &service, const QDBusMessage &request) {
    if (m_isRefusing) {
        request.setDelayedReply(true);
        m_bus.send(request.createErrorReply(QDBusError::LimitsExceeded, u"There is no room."_s));
        return;
    }
    m_items += service;
    Q_EMIT findChild<NotifierTrayAdaptor *>()->StatusNotifierItemRegistered(service);
}

void NotifierTray::recordItemSignal(const QDBusMessage &message) { m_itemSignals += message.member(); }

QStringList NotifierTray::takeItemSignals() { return std::exchange(m_itemSignals, {}); }

QVariant NotifierTray::itemProperty(const QString &name) {
    const auto answer = call(itemPath, u"org.freedesktop.DBus.Properties"_s, u"Get"_s, {itemInterface, name});
    return answer.isEmpty() ? QVariant() : answer.first().value<QDBusVariant>().variant();
}

QVariantList NotifierTray::callItem(const QString &method, const QVariantList &arguments) {
    return call(itemPath, itemInterface, method, arguments);
}

QVariantList NotifierTray::callMenu(const QString &method, const QVariantList &arguments) {
    return call(menuPath, menuInterface, method, arguments);
}

/// The item may live in this very process, so the event loop turns until it has answered.
QVariantList NotifierTray::call(const QString &path, const QString &interface, const QString &method,
                                const QVariantList &arguments) {
    if (m_items.isEmpty())
        return {};
    auto message = QDBusMessage::createMethodCall(m_items.last(), path, interface, method);
    message.setArguments(arguments);
    const QDBusPendingCall answer = m_bus.asyncCall(message);
    ChildProcess::waitUntil([&] { return answer.isFinished(); });
    return answer.reply().arguments();
}

} // namespace quillora::test
