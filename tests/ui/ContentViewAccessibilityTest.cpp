#include "ui/LimitedLabel.h"
#include "ui/PanelButton.h"
#include "ui/PanelHarness.h"
#include "ui/TextPane.h"

#include <QAccessible>
#include <QTest>

using namespace Qt::StringLiterals;
using namespace quillora;
using namespace quillora::test;

class ContentViewAccessibilityTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void everyControlHasANameAndARole_data() {
        QTest::addColumn<QString>("control");
        QTest::addColumn<QString>("name");
        QTest::addColumn<QAccessible::Role>("role");
        const auto row = [](const char *control, const char *name, QAccessible::Role role) {
            QTest::newRow(control) << QString::fromLatin1(control) << QString::fromUtf8(name) << role;
        };
        row("recordHotKeyButton", "Record hotkey", QAccessible::Button);
        row("resetHotKeyButton", "Reset hotkey", QAccessible::Button);
        row("quitButton", "Quit", QAccessible::Button);
        row("swapButton", "Swap languages", QAccessible::Button);
        row("endpointField", "Backend URL", QAccessible::EditableText);
        row("tokenField", "Subscription token", QAccessible::EditableText);
        row("mainButton", "Start", QAccessible::Button);
        row("prepareButton", "Prepare translation models", QAccessible::Button);
        row("pasteButton", "Paste last translation", QAccessible::Button);
        row("statusLink", "Models… for this status", QAccessible::Link);
        row("statusText", "Ready.", QAccessible::Notification);
        row("transcriptText", "Transcript", QAccessible::EditableText);
        row("translationText", "Translation", QAccessible::EditableText);
        row("hotKeyText", "Ctrl Option Space", QAccessible::StaticText);
        row("productName", "Quillora", QAccessible::StaticText);
    }

    void everyControlHasANameAndARole() {
        QFETCH(QString, control);
        PanelHarness harness;
        const auto *interface = QAccessible::queryAccessibleInterface(&harness.find<QWidget>(control));
        QVERIFY(interface);
        QTEST(interface->text(QAccessible::Name), "name");
        QTEST(interface->role(), "role");
    }

    /// On this platform a combo box is named by what it shows, and labelled by its title.
    void thePickersAreLabelledByTheirTitles_data() {
        QTest::addColumn<QString>("picker");
        QTest::addColumn<QString>("title");
        QTest::newRow("source") << u"sourcePicker"_s << u"Dictate"_s;
        QTest::newRow("target") << u"targetPicker"_s << u"Translate to"_s;
        QTest::newRow("engine") << u"enginePicker"_s << u"Engine"_s;
    }

    void thePickersAreLabelledByTheirTitles() {
        QFETCH(QString, picker);
        PanelHarness harness;
        const auto *interface = QAccessible::queryAccessibleInterface(&harness.find<QWidget>(picker));
        QCOMPARE(interface->role(), QAccessible::ComboBox);
        const auto labels = interface->relations(QAccessible::Label);
        QCOMPARE(labels.size(), 1);
        QTEST(labels.first().first->text(QAccessible::Name), "title");
    }

    void nothingThatTakesTheFocusIsNameless() {
        PanelHarness harness;
        harness.useHostedEngine();
        for (auto *widget : harness.panel->findChildren<QWidget *>()) {
            if (!(widget->focusPolicy() & Qt::TabFocus) || widget->objectName().startsWith(u"qt_") ||
                widget->window() != harness.panel.get())
                continue;
            const auto *interface = QAccessible::queryAccessibleInterface(widget);
            QVERIFY2(
                interface && !interface->text(QAccessible::Name).isEmpty(),
                qPrintable(widget->objectName() + QString::fromLatin1(widget->metaObject()->className())));
        }
    }

    void theButtonsTellWhatTheyWouldDoNow() {
        PanelHarness harness;
        harness.startRecording();
        QCOMPARE(nameOf(harness.find<QWidget>(u"mainButton"_s)), u"Stop"_s);
        harness.startProcessing();
        harness.finish({});
        harness.controller->startHotKeyRecording();
        QCOMPARE(nameOf(harness.find<QWidget>(u"recordHotKeyButton"_s)), u"Cancel hotkey recording"_s);
    }

    void theWholeStatusIsReadableHoweverLong() {
        PanelHarness harness;
        const QString status = u"a status that is much too long to be shown "_s.repeated(9);
        harness.controller->setStatusText(status);
        QCOMPARE(nameOf(harness.find<QWidget>(u"statusText"_s)), status);
    }

    void bothTextsAreReadableAsTextAndNotEditable() {
        PanelHarness harness;
        harness.controller->setTargetLanguageIdentifier(u"es"_s);
        harness.dictate(u"good morning"_s);
        for (const auto &[name, expected] : {std::pair{u"transcriptText"_s, u"good morning"_s},
                                             std::pair{u"translationText"_s, u"<good morning>"_s}}) {
            auto *interface = QAccessible::queryAccessibleInterface(&harness.find<QWidget>(name));
            QVERIFY(interface && interface->textInterface());
            QCOMPARE(interface->textInterface()->text(0, interface->textInterface()->characterCount()),
                     expected);
            QVERIFY(interface->state().readOnly);
        }
    }

    void theTokenIsNotReadable() {
        PanelHarness harness;
        harness.controller->setOpenAIClientToken(u"secret"_s);
        const auto *interface =
            QAccessible::queryAccessibleInterface(&harness.find<QWidget>(u"tokenField"_s));
        QVERIFY(interface->state().passwordEdit);
        QVERIFY(!interface->text(QAccessible::Value).contains(u"secret"_s));
    }

    void aPickersValueIsItsOption() {
        PanelHarness harness;
        harness.controller->setTargetLanguageIdentifier(u"es"_s);
        const auto *interface =
            QAccessible::queryAccessibleInterface(&harness.find<QWidget>(u"targetPicker"_s));
        QVERIFY(interface->text(QAccessible::Value).contains(u"Spanish"_s));
    }

private:
    static QString nameOf(QWidget &widget) {
        return QAccessible::queryAccessibleInterface(&widget)->text(QAccessible::Name);
    }
};

QTEST_MAIN(ContentViewAccessibilityTest)
#include "ContentViewAccessibilityTest.moc"
