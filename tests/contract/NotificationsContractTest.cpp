#include "contract/NotificationsContract.h"
#include "fakes/FakePlatform.h"
#include "platform/linux/notifications/DesktopNotifications.h"
#include "support/NotificationServer.h"

#include <QCoreApplication>
#include <QTest>

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

private:
    PrivateSessionBus m_bus;
    NotificationServer m_server{m_bus};
    DesktopNotifications m_notifications{m_bus.connection()};
};

} // namespace

int main(int argc, char **argv) {
    QCoreApplication application(argc, argv);
    test::NotificationsContract contract(
        {{"fake", [] { return std::make_unique<FakeHarness>(); }},
         {"DesktopNotifications", [] { return std::make_unique<DesktopHarness>(); }}});
    return QTest::qExec(&contract, argc, argv);
}
