#include "contract/AppearanceContract.h"
#include "fakes/FakeAppearance.h"
#include "platform/linux/appearance/PortalAppearance.h"
#include "support/SettingsPortal.h"
#include "support/TestSuites.h"

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

/// What only a desktop with a portal, or without one, can show.
class PortalAppearanceTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void whatWasSetBeforeTheStartIsRead() {
        const Appearance::Preferences wanted{Appearance::ColorScheme::dark, Appearance::Color{0.25, 0.5, 1},
                                             true};
        PrivateSessionBus bus;
        SettingsPortal portal(bus);
        portal.prefer(wanted);
        PortalAppearance appearance(bus.connection());
        QTRY_COMPARE(appearance.preferences(), wanted);
    }

    void aPortalThatComesLaterIsHeard() {
        PrivateSessionBus bus;
        PortalAppearance appearance(bus.connection());
        SettingsPortal portal(bus);
        portal.prefer({Appearance::ColorScheme::dark, {}, false});
        QTRY_COMPARE(appearance.preferences().colorScheme, Appearance::ColorScheme::dark);
    }

    void withoutABusThereIsNoPreference() {
        PortalAppearance appearance(QDBusConnection(u"no such connection"_s));
        QCOMPARE(appearance.preferences(), Appearance::Preferences());
    }
};

} // namespace

int main(int argc, char **argv) {
    QCoreApplication application(argc, argv);
    test::AppearanceContract contract(
        {{"fake", [] { return std::make_unique<FakeHarness>(); }},
         {"PortalAppearance", [] { return std::make_unique<PortalAppearanceHarness>(); }}});
    PortalAppearanceTest own;
    return test::TestSuites({&contract, &own}).run(argc, argv);
}
#include "AppearanceContractTest.moc"
