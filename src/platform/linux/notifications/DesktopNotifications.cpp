#include "platform/linux/notifications/DesktopNotifications.h"

#include "platform/ApplicationIdentity.h"

#include <QDBusMessage>
#include <QStringList>
#include <QVariantMap>

using namespace Qt::StringLiterals;

namespace quillora::platform {

namespace {

constexpr quint32 newNotification = 0; ///< replaces none
constexpr qint32 usualTime = -1;       ///< as long as the service shows them usually

} // namespace

DesktopNotifications::DesktopNotifications(const QDBusConnection &bus) : m_bus(bus) {}

void DesktopNotifications::show(const Notification &notification) {
    auto call = QDBusMessage::createMethodCall(u"org.freedesktop.Notifications"_s,
                                               u"/org/freedesktop/Notifications"_s,
                                               u"org.freedesktop.Notifications"_s, u"Notify"_s);
    // A body is markup, a summary is not.
    call << applicationName << newNotification << applicationIdentifier << notification.summary
         << notification.body.toHtmlEscaped() << QStringList()
         << QVariantMap{{u"desktop-entry"_s, applicationIdentifier}} << usualTime;
    m_bus.send(call);
}

} // namespace quillora::platform
