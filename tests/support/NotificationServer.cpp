#include "support/NotificationServer.h"

#include <QXmlStreamReader>

#include <stdexcept>

using namespace Qt::StringLiterals;

namespace quillora::test {

namespace {

QString nextConnectionName() {
    static int count = 0;
    return u"notification-server-%1"_s.arg(++count);
}

} // namespace

NotificationServer::NotificationServer(const PrivateSessionBus &bus)
    : m_bus(QDBusConnection::connectToBus(bus.address(), nextConnectionName())) {
    const bool isThere =
        m_bus.registerObject(u"/org/freedesktop/Notifications"_s, this, QDBusConnection::ExportAllSlots) &&
        m_bus.registerService(u"org.freedesktop.Notifications"_s);
    if (!isThere)
        throw std::runtime_error("the notification server cannot be registered");
}

NotificationServer::~NotificationServer() { QDBusConnection::disconnectFromBus(m_bus.name()); }

uint NotificationServer::Notify(const QString &application, uint replaces, const QString &icon,
                                const QString &summary, const QString &body, const QStringList &actions,
                                const QVariantMap &hints, int milliseconds) {
    QXmlStreamReader markup(u"<body>"_s + body + u"</body>"_s);
    markup.readNextStartElement();
    shown.push_back({summary, markup.readElementText(QXmlStreamReader::IncludeChildElements)});
    requests.push_back({application, replaces, icon, actions, hints, milliseconds});
    return static_cast<uint>(shown.size());
}

} // namespace quillora::test
