#include "contract/TrayContract.h"
#include "platform/linux/tray/DesktopTray.h"
#include "support/NotifierTray.h"
#include "support/PrivateSessionBus.h"

#include <optional>

using namespace quillora;

namespace {

/// A tray that collects StatusNotifierItems.
class NotifierHarness : public test::TrayHarness {
public:
    platform::Tray &tray() override { return m_tray; }
    void come() override { m_notifierTray.emplace(m_bus.address()); }
    void go() override { m_notifierTray.reset(); }
    void click(const QPoint &place) override {
        m_notifierTray->callItem(u"Activate"_qs, {place.x(), place.y()});
    }

private:
    test::PrivateSessionBus m_bus;
    std::optional<test::NotifierTray> m_notifierTray;
    platform::DesktopTray m_tray{m_bus.connection()};
};

} // namespace

class DesktopTrayContractTest : public test::TrayContract {
    Q_OBJECT

    std::unique_ptr<test::TrayHarness> makeHarness() override { return std::make_unique<NotifierHarness>(); }
};

QTEST_MAIN(DesktopTrayContractTest)
#include "DesktopTrayContractTest.moc"
