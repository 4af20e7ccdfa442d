#include "ui/PanelButton.h"
#include "ui/PanelHarness.h"
#include "ui/PanelPalette.h"
#include "ui/SymbolView.h"

#include <QTest>

using namespace quillora;
using namespace quillora::test;
using platform::Appearance;

/// The panel follows the desktop's looks while it is open.
class PanelAppearanceTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init() { QApplication::setPalette(QPalette(QColor(0xef, 0xf0, 0xf1), QColor(0xf6, 0xf6, 0xf7))); }

    void aNewAccentColoursTheHeaderIconAtOnce() {
        PanelHarness harness;
        harness.show();
        harness.platform.appearanceFake.prefer(
            {Appearance::ColorScheme::noPreference, Appearance::Color{0.5, 0, 0.5}, false});
        QCOMPARE(harness.panel->palette().color(QPalette::Highlight), QColor::fromRgbF(0.5f, 0, 0.5f));
        QCOMPARE(harness.find<SymbolView>(u"headerIcon"_qs).color(), QColor::fromRgbF(0.5f, 0, 0.5f));
        QCOMPARE(harness.find<QWidget>(u"mainButton"_qs).palette().color(QPalette::Highlight),
                 QColor::fromRgbF(0.5f, 0, 0.5f));
    }

    void darkAndBack() {
        PanelHarness harness;
        harness.show();
        const QColor light = harness.panel->palette().color(QPalette::Window);
        harness.platform.appearanceFake.prefer({Appearance::ColorScheme::dark, {}, false});
        QVERIFY(PanelPalette::isDark(harness.panel->palette()));
        QVERIFY(PanelPalette::isDark(harness.find<QWidget>(u"transcriptText"_qs).palette()));
        harness.platform.appearanceFake.prefer({});
        QCOMPARE(harness.panel->palette().color(QPalette::Window), light);
    }

    void theToolkitsOwnChangeIsFollowed() {
        PanelHarness harness;
        harness.show();
        QApplication::setPalette(QPalette(QColor(0x31, 0x36, 0x3b), QColor(0x23, 0x26, 0x29)));
        QTRY_COMPARE(harness.panel->palette().color(QPalette::Window), QColor(0x23, 0x26, 0x29));
    }

    void theRecordingColourFollowsTheScheme() {
        PanelHarness harness;
        harness.startRecording();
        const QColor before = harness.find<SymbolView>(u"headerIcon"_qs).color();
        harness.platform.appearanceFake.prefer({Appearance::ColorScheme::dark, {}, false});
        QVERIFY(harness.find<SymbolView>(u"headerIcon"_qs).color() != before);
        QCOMPARE(harness.find<SymbolView>(u"headerIcon"_qs).color(),
                 PanelPalette::recording(harness.panel->palette()));
    }

    void aLargerFontScalesThePanel() {
        PanelHarness harness;
        harness.show();
        QFont font = QApplication::font();
        const int before = harness.panel->sizeHint().height();
        font.setPointSizeF(font.pointSizeF() * 1.5);
        harness.panel->setFont(font);
        QVERIFY(harness.panel->sizeHint().height() > before);
        QCOMPARE(harness.panel->sizeHint().width(), 380);
        QVERIFY(harness.find<QWidget>(u"mainButton"_qs).font().pointSizeF() == font.pointSizeF());
        QVERIFY(harness.find<QWidget>(u"hotKeyText"_qs).font().pointSizeF() < font.pointSizeF());
    }
};

QTEST_MAIN(PanelAppearanceTest)
#include "PanelAppearanceTest.moc"
