#include "platform/linux/notifications/DesktopNotifications.h"
#include "support/NotificationServer.h"
#include "support/OwnTime.h"

#include <QDBusConnectionInterface>
#include <QTest>

#include <csignal>

using namespace Qt::StringLiterals;
using namespace quillora;
using platform::DesktopNotifications;
using test::NotificationServer;
using test::PrivateSessionBus;

namespace {

const platform::Notification notification{u"one"_s, u"1"_s};

} // namespace

/// What the notification service of a desktop is told, and one that is missing or hangs.
class DesktopNotificationsTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void theDesktopLearnsWhoseNotificationItIs() {
        PrivateSessionBus bus;
        NotificationServer server(bus);
        DesktopNotifications notifications(bus.connection());
        notifications.show(notification);
        QTRY_COMPARE(server.requests.size(), 1U);
        const auto &request = server.requests.front();
        QCOMPARE(request.application, u"Quillora"_s);
        QCOMPARE(request.icon, u"org.quillora.Quillora"_s);
        QCOMPARE(request.hints.value(u"desktop-entry"_s).toString(), u"org.quillora.Quillora"_s);
        QCOMPARE(request.actions, QStringList());
        QCOMPARE(request.replaces, 0U);
        QCOMPARE(request.milliseconds, -1);
    }

    void withoutAServiceNothingHappensUntilThereIsOne() {
        PrivateSessionBus bus;
        DesktopNotifications notifications(bus.connection());
        notifications.show({u"lost"_s, {}});
        bus.connection().interface()->serviceOwner(u"whoever answers after that"_s);
        NotificationServer server(bus);
        notifications.show(notification);
        QTRY_COMPARE(server.shown.size(), 1U);
        QCOMPARE(server.shown.front(), notification);
    }

    void withoutABusNothingHappens() {
        DesktopNotifications notifications(QDBusConnection(u"no such connection"_s));
        notifications.show(notification);
    }

    void aBusThatHangsHoldsNobodyUp() {
        PrivateSessionBus bus;
        DesktopNotifications notifications(bus.connection());
        bus.process().signal(SIGSTOP);
        const test::OwnTime timer;
        notifications.show(notification);
        const auto elapsed = timer.elapsed();
        bus.process().signal(SIGCONT);
        QVERIFY2(elapsed < 50, qPrintable(QString::number(elapsed)));
    }
};

QTEST_GUILESS_MAIN(DesktopNotificationsTest)
#include "DesktopNotificationsTest.moc"
