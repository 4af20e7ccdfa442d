#include "contract/NotificationsContract.h"
#include "fakes/FakePlatform.h"

using namespace quillora;

namespace {

class FakeHarness : public test::NotificationsHarness {
public:
    platform::Notifications &notifications() override { return m_platform.notificationsFake; }
    std::vector<platform::Notification> shown() const override { return m_platform.notificationsFake.shown; }

private:
    test::FakePlatform m_platform;
};

} // namespace

class FakeNotificationsContractTest : public test::NotificationsContract {
    Q_OBJECT

    std::unique_ptr<test::NotificationsHarness> makeHarness() override {
        return std::make_unique<FakeHarness>();
    }
};

QTEST_GUILESS_MAIN(FakeNotificationsContractTest)
#include "FakeNotificationsContractTest.moc"
