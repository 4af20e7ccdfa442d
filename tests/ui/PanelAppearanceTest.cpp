#include "ui/PanelButton.h"
#include "ui/PanelHarness.h"
#include "ui/PanelPalette.h"
#include "ui/Picker.h"
#include "ui/SymbolView.h"

#include <QContextMenuEvent>
#include <QLineEdit>
#include <QMenu>
#include <QTest>
#include <QToolTip>
#include <QVBoxLayout>

#include <algorithm>

using namespace Qt::StringLiterals;
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
        QCOMPARE(harness.find<SymbolView>(u"headerIcon"_s).color(), QColor::fromRgbF(0.5f, 0, 0.5f));
        QCOMPARE(harness.find<QWidget>(u"mainButton"_s).palette().color(QPalette::Highlight),
                 QColor::fromRgbF(0.5f, 0, 0.5f));
    }

    void darkAndBack() {
        PanelHarness harness;
        harness.show();
        const QColor light = harness.panel->palette().color(QPalette::Window);
        harness.platform.appearanceFake.prefer({Appearance::ColorScheme::dark, {}, false});
        QVERIFY(PanelPalette::isDark(harness.panel->palette()));
        QVERIFY(PanelPalette::isDark(harness.find<QWidget>(u"transcriptText"_s).palette()));
        harness.platform.appearanceFake.prefer({});
        QCOMPARE(harness.panel->palette().color(QPalette::Window), light);
    }

    void menusAreAsDarkAsThePanel() {
        PanelHarness harness;
        harness.platform.appearanceFake.prefer({Appearance::ColorScheme::dark, {}, false});
        harness.useHostedEngine();
        harness.show();
        harness.find<Picker>(u"targetPicker"_s).showPopup();
        QTRY_VERIFY(QApplication::activePopupWidget());
        const QImage menu = QApplication::activePopupWidget()->grab().toImage();
        QVERIFY(menu.pixelColor(menu.width() - 5, menu.height() - 5).lightness() < 80);
        harness.find<Picker>(u"targetPicker"_s).hidePopup();
        auto &field = harness.find<QLineEdit>(u"endpointField"_s);
        QContextMenuEvent request(QContextMenuEvent::Keyboard, {5, 5}, field.mapToGlobal(QPoint(5, 5)));
        QApplication::sendEvent(&field, &request);
        QTRY_VERIFY(qobject_cast<QMenu *>(QApplication::activePopupWidget()));
        QVERIFY(PanelPalette::isDark(QApplication::activePopupWidget()->palette()));
        QApplication::activePopupWidget()->close();
    }

    void aMenuWithinAMenuIsAsDarkAsThePanel() {
        PanelHarness harness;
        harness.platform.appearanceFake.prefer({Appearance::ColorScheme::dark, {}, false});
        harness.show();
        QMenu menu(&harness.find<QLineEdit>(u"endpointField"_s));
        QMenu *inner = menu.addMenu(u"more"_s);
        inner->addAction(u"action"_s);
        menu.popup({});
        inner->popup({});
        QVERIFY(PanelPalette::isDark(inner->palette()));
        inner->close();
        menu.close();
    }

    void anOpenMenuFollows() {
        PanelHarness harness;
        harness.show();
        QMenu menu(&harness.find<QLineEdit>(u"endpointField"_s));
        menu.addAction(u"action"_s);
        menu.popup({});
        harness.platform.appearanceFake.prefer({Appearance::ColorScheme::dark, {}, false});
        QVERIFY(PanelPalette::isDark(menu.palette()));
        menu.close();
    }

    void aTipIsAsDarkAsThePanel() {
        PanelHarness harness;
        harness.platform.appearanceFake.prefer({Appearance::ColorScheme::dark, {}, false});
        harness.show();
        QToolTip::showText({10, 10}, u"tip"_s, &harness.find<QWidget>(u"quitButton"_s));
        const auto windows = QApplication::topLevelWidgets();
        const auto tip = std::find_if(windows.begin(), windows.end(), [](const QWidget *window) {
            return window->isVisible() && window->windowType() == Qt::ToolTip;
        });
        QVERIFY(tip != windows.end());
        const QPalette colors = (*tip)->palette();
        QVERIFY(colors.color(QPalette::ToolTipBase).lightness() <
                colors.color(QPalette::ToolTipText).lightness());
        QToolTip::hideText();
    }

    /// It paints the border.
    void theWindowAroundThePanelFollows() {
        PanelHarness harness;
        QWidget window;
        auto *layout = new QVBoxLayout(&window);
        layout->addWidget(harness.panel.get());
        harness.platform.appearanceFake.prefer({Appearance::ColorScheme::dark, {}, false});
        window.show();
        QCOMPARE(window.palette().color(QPalette::Mid), harness.panel->palette().color(QPalette::Mid));
        harness.platform.appearanceFake.prefer({});
        QVERIFY(!PanelPalette::isDark(window.palette()));
        QCOMPARE(window.palette().color(QPalette::Mid), harness.panel->palette().color(QPalette::Mid));
        harness.panel->setParent(nullptr);
    }

    void otherWindowsKeepTheirLook() {
        PanelHarness harness;
        QWidget other;
        other.show();
        harness.platform.appearanceFake.prefer({Appearance::ColorScheme::dark, {}, false});
        harness.show();
        QVERIFY(!PanelPalette::isDark(other.palette()));
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
        const QColor before = harness.find<SymbolView>(u"headerIcon"_s).color();
        harness.platform.appearanceFake.prefer({Appearance::ColorScheme::dark, {}, false});
        QVERIFY(harness.find<SymbolView>(u"headerIcon"_s).color() != before);
        QCOMPARE(harness.find<SymbolView>(u"headerIcon"_s).color(),
                 PanelPalette::recording(harness.panel->palette()));
    }

    void aFieldThatTakesNoTextLooksSoThroughout() {
        PanelHarness harness;
        harness.useHostedEngine();
        harness.show();
        auto *field = harness.find<QLineEdit>(u"endpointField"_s).parentWidget();
        const auto colorAt = [field](int x) {
            return field->grab().toImage().pixelColor(x, field->height() / 2);
        };
        constexpr int besideOutline = 1;
        constexpr int besideText = 5;
        const QColor usual = colorAt(besideText);
        QCOMPARE(colorAt(besideOutline), usual);
        harness.startRecording();
        QVERIFY(colorAt(besideText) != usual);
        QCOMPARE(colorAt(besideOutline), colorAt(besideText));
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
        QVERIFY(harness.find<QWidget>(u"mainButton"_s).font().pointSizeF() == font.pointSizeF());
        QVERIFY(harness.find<QWidget>(u"hotKeyText"_s).font().pointSizeF() < font.pointSizeF());
    }
};

QTEST_MAIN(PanelAppearanceTest)
#include "PanelAppearanceTest.moc"
