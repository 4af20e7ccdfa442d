#include "contract/AppearanceContract.h"
#include "fakes/FakeAppearance.h"
#include "platform/linux/appearance/PortalAppearance.h"
#include "support/SettingsPortal.h"

#include <QCoreApplication>
#include <QTest>

using namespace Qt::StringLiterals;
using namespace quillora;
using platform::Appearance;
using platform::PortalAppearance;
using test::PrivateSessionBus;
using test::SettingsPortal;

namespace {

class FakeHarness : public test::AppearanceHarness {
public:
    platform::Appearance &appearance() override { return m_appearance; }
    void prefer(const platform::Appearance::Preferences &preferences) override {
        m_appearance.prefer(preferences);
    }

private:
    test::FakeAppearance m_appearance;
};

class PortalAppearanceHarness : public test::AppearanceHarness {
public:
    Appearance &appearance() override { return m_appearance; }
    void prefer(const Appearance::Preferences &preferences) override { m_portal.prefer(preferences); }

private:
    PrivateSessionBus m_bus;
    SettingsPortal m_portal{m_bus};
    PortalAppearance m_appearance{m_bus.connection()};
};

} // namespace

int main(int argc, char **argv) {
    QCoreApplication application(argc, argv);
    test::AppearanceContract contract(
        {{"fake", [] { return std::make_unique<FakeHarness>(); }},
         {"PortalAppearance", [] { return std::make_unique<PortalAppearanceHarness>(); }}});
    return QTest::qExec(&contract, argc, argv);
}
