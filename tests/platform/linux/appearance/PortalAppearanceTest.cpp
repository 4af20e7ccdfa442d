#include "platform/linux/appearance/PortalAppearance.h"
#include "support/SettingsPortal.h"

#include <QTest>

using namespace Qt::StringLiterals;
using namespace quillora;
using platform::Appearance;
using platform::PortalAppearance;
using test::PrivateSessionBus;
using test::SettingsPortal;

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

    void anAccentAboveTheRangeIsNone() {
        PrivateSessionBus bus;
        SettingsPortal portal(bus);
        PortalAppearance appearance(bus.connection());
        portal.prefer({Appearance::ColorScheme::noPreference, Appearance::Color{1.5, 0.5, 0}, true});
        QTRY_VERIFY(appearance.preferences().wantsHighContrast); // comes behind the accent
        QVERIFY(!appearance.preferences().accentColor);
    }

    void aSettingOfAnotherGroupIsNoneOfTheAppearance() {
        PrivateSessionBus bus;
        SettingsPortal portal(bus);
        PortalAppearance appearance(bus.connection());
        Q_EMIT portal.SettingChanged(u"org.gnome.desktop.interface"_s, u"color-scheme"_s, QDBusVariant(1U));
        portal.prefer({Appearance::ColorScheme::noPreference, {}, true});
        QTRY_VERIFY(appearance.preferences().wantsHighContrast); // comes behind it
        QCOMPARE(appearance.preferences().colorScheme, Appearance::ColorScheme::noPreference);
    }

    void withoutABusThereIsNoPreference() {
        PortalAppearance appearance(QDBusConnection(u"no such connection"_s));
        QCOMPARE(appearance.preferences(), Appearance::Preferences());
    }
};

QTEST_GUILESS_MAIN(PortalAppearanceTest)
#include "PortalAppearanceTest.moc"
