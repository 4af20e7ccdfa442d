#include "ui/PanelPalette.h"

#include <QTest>

using namespace quillora;
using platform::Appearance;

namespace {

QPalette lightDesktop() { return QPalette(QColor(0xef, 0xf0, 0xf1), QColor(0xf6, 0xf6, 0xf7)); }
QPalette darkDesktop() { return QPalette(QColor(0x31, 0x36, 0x3b), QColor(0x23, 0x26, 0x29)); }

QPalette withAccent(const QColor &accent, const QPalette &desktop = lightDesktop()) {
    Appearance::Preferences preferences;
    preferences.accentColor = Appearance::Color{accent.redF(), accent.greenF(), accent.blueF()};
    return PanelPalette::from(desktop, preferences);
}

} // namespace

class PanelPaletteTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void contrastIsThatOfTheStandard() {
        QCOMPARE(PanelPalette::contrast(Qt::black, Qt::white), 21.0);
        QCOMPARE(PanelPalette::contrast(Qt::red, Qt::red), 1.0);
        QVERIFY(std::abs(PanelPalette::contrast(QColor(0x76, 0x76, 0x76), Qt::white) - 4.54) < 0.01);
    }

    void everyTextCanBeRead_data() {
        QTest::addColumn<QPalette>("palette");
        QTest::newRow("light") << PanelPalette::from(lightDesktop(), {});
        QTest::newRow("dark") << PanelPalette::from(darkDesktop(), {});
        QTest::newRow("dark where the desktop missed it")
            << PanelPalette::from(lightDesktop(), {Appearance::ColorScheme::dark, {}, false});
        QTest::newRow("grey") << PanelPalette::from(QPalette(Qt::gray, Qt::gray), {});
        for (const auto *accent :
             {"red", "yellow", "lime", "cyan", "blue", "magenta", "white", "black", "#777"}) {
            QTest::addRow("%s on light", accent) << withAccent(QColor(QLatin1String(accent)));
            QTest::addRow("%s on dark", accent) << withAccent(QColor(QLatin1String(accent)), darkDesktop());
        }
    }

    void everyTextCanBeRead() {
        QFETCH(QPalette, palette);
        const QColor window = palette.color(QPalette::Window);
        QVERIFY(PanelPalette::contrast(palette.color(QPalette::PlaceholderText), window) >= 4.5);
        QVERIFY(PanelPalette::contrast(PanelPalette::accentText(palette), window) >= 4.5);
        QVERIFY(PanelPalette::contrast(palette.color(QPalette::HighlightedText),
                                       palette.color(QPalette::Highlight)) >= 4.5);
        for (const auto &state : {PanelPalette::recording(palette), PanelPalette::processing(palette),
                                  PanelPalette::idle(palette)})
            QVERIFY(PanelPalette::contrast(state, window) >= 3.0);
        QVERIFY(PanelPalette::contrast(Qt::white, PanelPalette::recordingSurface()) >= 4.5);
    }

    void theDesktopsAccentIsTaken() {
        QCOMPARE(withAccent(QColor(0x20, 0x40, 0xa0)).color(QPalette::Highlight), QColor(0x20, 0x40, 0xa0));
    }

    void withoutAnAccentTheDesktopsHighlightIsTaken() {
        QPalette desktop = lightDesktop();
        desktop.setColor(QPalette::Highlight, QColor(0x80, 0x20, 0x60));
        QCOMPARE(PanelPalette::from(desktop, {}).color(QPalette::Highlight), QColor(0x80, 0x20, 0x60));
    }

    void aDarkSchemeThatTheDesktopMissedIsFollowed() {
        QVERIFY(PanelPalette::isDark(
            PanelPalette::from(lightDesktop(), {Appearance::ColorScheme::dark, {}, false})));
    }

    void aDesktopThatIsDarkStaysAsItIs() {
        for (const auto scheme : {Appearance::ColorScheme::dark, Appearance::ColorScheme::light,
                                  Appearance::ColorScheme::noPreference})
            QCOMPARE(PanelPalette::from(darkDesktop(), {scheme, {}, false}).color(QPalette::Window),
                     darkDesktop().color(QPalette::Window));
    }

    void highContrastLeavesNothingFaint() {
        const QPalette palette =
            PanelPalette::from(lightDesktop(), {Appearance::ColorScheme::noPreference, {}, true});
        QCOMPARE(palette.color(QPalette::PlaceholderText), palette.color(QPalette::WindowText));
        QCOMPARE(palette.color(QPalette::Mid), palette.color(QPalette::WindowText));
    }
};

QTEST_APPLESS_MAIN(PanelPaletteTest)
#include "PanelPaletteTest.moc"
