#include "contract/TrayContract.h"
#include "fakes/FakeTray.h"

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

} // namespace

class FakeTrayContractTest : public test::TrayContract {
    Q_OBJECT

    std::unique_ptr<test::TrayHarness> makeHarness() override { return std::make_unique<FakeHarness>(); }
};

QTEST_GUILESS_MAIN(FakeTrayContractTest)
#include "FakeTrayContractTest.moc"
