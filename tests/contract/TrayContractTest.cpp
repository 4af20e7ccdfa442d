#include "contract/TrayContract.h"
#include "fakes/FakeTray.h"
#include "platform/linux/tray/DesktopTray.h"
#include "support/NotifierTray.h"
#include "support/PrivateSessionBus.h"

#include <QApplication>
#include <QTest>

#include <optional>

using namespace Qt::StringLiterals;
using namespace quillora;

namespace {

class FakeHarness : public test::TrayHarness {
public:
    FakeHarness() { m_tray.isThere = false; }

    platform::Tray &tray() override { return m_tray; }
    void come() override { setTray(true); }
    void go() override { setTray(false); }
    void click(const QPoint &place) override {
        m_tray.item->position = QRect(place, QSize(1, 1));
        m_tray.item->click();
    }

private:
    void setTray(bool isThere) {
        m_tray.isThere = isThere;
        if (m_tray.item)
            m_tray.item->setTray(isThere);
    }

    test::FakeTray m_tray;
};

/// A tray that collects StatusNotifierItems.
class NotifierHarness : public test::TrayHarness {
public:
    platform::Tray &tray() override { return m_tray; }
    void come() override { m_notifierTray.emplace(m_bus.address()); }
    void go() override { m_notifierTray.reset(); }
    void click(const QPoint &place) override {
        m_notifierTray->callItem(u"Activate"_s, {place.x(), place.y()});
    }

private:
    test::PrivateSessionBus m_bus;
    std::optional<test::NotifierTray> m_notifierTray;
    platform::DesktopTray m_tray{m_bus.connection()};
};

} // namespace

int main(int argc, char **argv) {
    QApplication application(argc, argv);
    test::TrayContract contract({{"fake", [] { return std::make_unique<FakeHarness>(); }},
                                 {"DesktopTray", [] { return std::make_unique<NotifierHarness>(); }}});
    return QTest::qExec(&contract, argc, argv);
}
