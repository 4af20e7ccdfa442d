#include "contract/NotificationsContract.h"
#include "fakes/FakePlatform.h"
#include "platform/linux/notifications/DesktopNotifications.h"
#include "support/NotificationServer.h"
#include "support/OwnTime.h"
#include "support/TestSuites.h"

#include <QCoreApplication>
#include <QDBusConnectionInterface>
#include <QTest>

#include <csignal>

using namespace Qt::StringLiterals;
using namespace quillora;
using platform::DesktopNotifications;
using test::NotificationServer;
using test::PrivateSessionBus;

namespace {

class FakeHarness : public test::NotificationsHarness {
public:
    platform::Notifications &notifications() override { return m_platform.notificationsFake; }
    std::vector<platform::Notification> shown() const override { return m_platform.notificationsFake.shown; }

private:
    test::FakePlatform m_platform;
};

class DesktopHarness : public test::NotificationsHarness {
public:
    platform::Notifications &notifications() override { return m_notifications; }
    std::vector<platform::Notification> shown() const override { return m_server.shown; }
    const std::vector<NotificationServer::Request> &requests() const { return m_server.requests; }

private:
    PrivateSessionBus m_bus;
    NotificationServer m_server{m_bus};
    DesktopNotifications m_notifications{m_bus.connection()};
};

const platform::Notification notification{u"one"_s, u"1"_s};

/// What only this one is asked.
class DesktopNotificationsTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void theDesktopLearnsWhoseNotificationItIs() {
        DesktopHarness harness;
        harness.notifications().show(notification);
        QTRY_COMPARE(harness.requests().size(), 1U);
        const auto &request = harness.requests().front();
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

} // namespace

int main(int argc, char **argv) {
    QCoreApplication application(argc, argv);
    test::NotificationsContract contract(
        {{"fake", [] { return std::make_unique<FakeHarness>(); }},
         {"DesktopNotifications", [] { return std::make_unique<DesktopHarness>(); }}});
    DesktopNotificationsTest own;
    return test::TestSuites({&contract, &own}).run(argc, argv);
}
#include "NotificationsContractTest.moc"
