#include "ui/PanelButton.h"
#include "ui/PanelHarness.h"
#include "ui/Picker.h"

#include <QAbstractItemView>
#include <QLineEdit>
#include <QSignalSpy>
#include <QTest>

using namespace Qt::StringLiterals;
using namespace quillora;
using namespace quillora::test;

namespace {

QString focusName() {
    return QApplication::focusWidget() ? QApplication::focusWidget()->objectName() : QString();
}

/// Something that happens to the Escape key at a moment, in milliseconds; `isMarked`: as a repeat.
void sendEscape(QEvent::Type type, quint64 time, bool isMarked = false) {
    QKeyEvent event(type, Qt::Key_Escape, Qt::NoModifier, FakeKeyPositions::scanCode(53), 0, 0, {}, isMarked);
    event.setTimestamp(time);
    QApplication::sendEvent(QApplication::focusWidget(), &event);
}

void tab(Qt::KeyboardModifiers modifiers = Qt::NoModifier) {
    QTest::keyClick(QApplication::focusWidget(), modifiers ? Qt::Key_Backtab : Qt::Key_Tab, modifiers);
}

Picker &focusedTargetPicker(const PanelHarness &harness) {
    auto &picker = harness.find<Picker>(u"targetPicker"_s);
    picker.setFocus();
    return picker;
}

Picker &openTargetPicker(const PanelHarness &harness) {
    auto &picker = focusedTargetPicker(harness);
    QTest::keyClick(&picker, Qt::Key_Down);
    return picker;
}

/// The first letter opens the list, which gets the others.
void type(Picker *picker, const QString &name) {
    QTest::keyClicks(picker, name.first(1));
    QTest::keyClicks(picker->view(), name.sliced(1));
}

} // namespace

class ContentViewKeyboardTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    /// However slowly the machine types.
    void initTestCase() { QApplication::setKeyboardInputInterval(60000); }

    void tabVisitsEveryControlInReadingOrder() {
        PanelHarness harness;
        harness.controller->setTargetLanguageIdentifier(u"en"_s);
        harness.useHostedEngine();
        harness.dictate(u"good morning"_s);                             // enables the paste button
        harness.controller->setRecordedHotKey({40, AppHotKey::cmdKey}); // and the reset button
        harness.panel->setStatusLink(ContentView::StatusLink::models);
        harness.show();
        const QStringList order{u"recordHotKeyButton"_s, u"resetHotKeyButton"_s, u"quitButton"_s,
                                u"sourcePicker"_s,       u"swapButton"_s,        u"targetPicker"_s,
                                u"enginePicker"_s,       u"endpointField"_s,     u"tokenField"_s,
                                u"mainButton"_s,         u"prepareButton"_s,     u"pasteButton"_s,
                                u"statusLink"_s,         u"transcriptText"_s,    u"translationText"_s};
        harness.find<QWidget>(order.first()).setFocus();
        QStringList visited;
        for (qsizetype i = 0; i < order.size(); ++i) {
            visited += focusName();
            tab();
        }
        QCOMPARE(visited, order);
        QCOMPARE(focusName(), order.first());
        tab(Qt::ShiftModifier);
        QCOMPARE(focusName(), order.last());
    }

    void whatIsHiddenOrDisabledIsNoStop() {
        PanelHarness harness;
        harness.controller->setTargetLanguageIdentifier(u"es"_s);
        harness.show();
        harness.find<QWidget>(u"enginePicker"_s).setFocus();
        tab();
        QCOMPARE(focusName(), u"mainButton"_s);
        tab();
        tab();
        QCOMPARE(focusName(), u"transcriptText"_s);
    }

    void theOpenedPanelHasTheFocusOnTheMainButton() {
        PanelHarness harness;
        harness.show();
        QCOMPARE(focusName(), u"mainButton"_s);
    }

    void aPanelThatOpensAgainKeepsItsFocus() {
        PanelHarness harness;
        harness.show();
        harness.find<QWidget>(u"targetPicker"_s).setFocus();
        harness.panel->hide();
        harness.show();
        QCOMPARE(focusName(), u"targetPicker"_s);
    }

    void enterOnTheMainButtonStartsAndStops_data() {
        QTest::addColumn<Qt::Key>("key");
        QTest::newRow("Return") << Qt::Key_Return;
        QTest::newRow("Enter") << Qt::Key_Enter;
        QTest::newRow("Space") << Qt::Key_Space;
    }

    void enterOnTheMainButtonStartsAndStops() {
        QFETCH(Qt::Key, key);
        PanelHarness harness;
        harness.show();
        QTest::keyClick(QApplication::focusWidget(), key);
        harness.platform.run();
        QVERIFY(harness.controller->isRecording());
        QCOMPARE(focusName(), u"mainButton"_s);
        QTest::keyClick(QApplication::focusWidget(), key);
        QVERIFY(!harness.controller->isRecording());
    }

    void aHeldEnterStartsOnce() {
        PanelHarness harness;
        harness.show();
        QTest::keyPress(QApplication::focusWidget(), Qt::Key_Return);
        harness.platform.run();
        QKeyEvent repeated(QEvent::KeyPress, Qt::Key_Return, Qt::NoModifier, u"\r"_s, true);
        QApplication::sendEvent(QApplication::focusWidget(), &repeated);
        QVERIFY(harness.controller->isRecording());
    }

    void escapeClosesThePanelFromEveryControl() {
        PanelHarness harness;
        harness.useHostedEngine();
        harness.show();
        QSignalSpy closing(harness.panel.get(), &ContentView::closeRequested);
        int stops = 0;
        for (auto *control : harness.panel->findChildren<QWidget *>()) {
            if (!control->isVisible() || !control->isEnabled() || !(control->focusPolicy() & Qt::TabFocus))
                continue;
            control->setFocus();
            QTest::keyClick(control, Qt::Key_Escape);
            QCOMPARE(closing.count(), ++stops);
        }
        QVERIFY(stops >= 10);
    }

    void escapeWithAModifierDoesNotClose() {
        PanelHarness harness;
        harness.show();
        QSignalSpy closing(harness.panel.get(), &ContentView::closeRequested);
        QTest::keyClick(QApplication::focusWidget(), Qt::Key_Escape, Qt::ShiftModifier);
        QCOMPARE(closing.count(), 0);
    }

    void escapeCancelsACaptureFirstWhereverTheFocusIs() {
        PanelHarness harness;
        harness.show();
        QSignalSpy closing(harness.panel.get(), &ContentView::closeRequested);
        harness.controller->startHotKeyRecording();
        harness.platform.run();
        harness.find<QWidget>(u"targetPicker"_s).setFocus();
        QTest::keyClick(QApplication::focusWidget(), Qt::Key_Escape);
        QVERIFY(!harness.controller->isRecordingHotKey());
        QCOMPARE(closing.count(), 0);
        QTest::keyClick(QApplication::focusWidget(), Qt::Key_Escape);
        QCOMPARE(closing.count(), 1);
    }

    void anEscapeThatIsHeldCancelsACaptureAndNoMore_data() {
        QTest::addColumn<QString>("focused");
        QTest::addColumn<bool>("isMarked");
        QTest::newRow("in the recorder") << u"hotKeyRecorder"_s << true;
        QTest::newRow("elsewhere") << u"targetPicker"_s << true;
        QTest::newRow("in the recorder, unknown to the toolkit") << u"hotKeyRecorder"_s << false;
        QTest::newRow("elsewhere, unknown to the toolkit") << u"targetPicker"_s << false;
    }

    void anEscapeThatIsHeldCancelsACaptureAndNoMore() {
        QFETCH(QString, focused);
        QFETCH(bool, isMarked);
        PanelHarness harness;
        harness.show();
        QSignalSpy closing(harness.panel.get(), &ContentView::closeRequested);
        harness.controller->startHotKeyRecording();
        harness.platform.run();
        harness.find<QWidget>(focused).setFocus();
        quint64 time = 1000;
        sendEscape(QEvent::KeyPress, time);
        QVERIFY(!harness.controller->isRecordingHotKey());
        for (time = 1660; time < 2000; time += 40) {
            sendEscape(QEvent::KeyRelease, time, isMarked);
            sendEscape(QEvent::KeyPress, time, isMarked);
        }
        sendEscape(QEvent::KeyRelease, time);
        QCOMPARE(closing.count(), 0);
        QCOMPARE(harness.controller->statusText(), u"Hotkey unchanged."_s);
        sendEscape(QEvent::KeyPress, time + 100);
        QCOMPARE(closing.count(), 1);
    }

    void escapeClosesAnOpenMenuBeforeThePanel() {
        PanelHarness harness;
        harness.show();
        QSignalSpy closing(harness.panel.get(), &ContentView::closeRequested);
        auto &picker = harness.find<Picker>(u"targetPicker"_s);
        picker.showPopup();
        QTRY_VERIFY(QApplication::activePopupWidget());
        QTest::keyClick(picker.view(), Qt::Key_Escape);
        QTRY_VERIFY(!QApplication::activePopupWidget());
        QCOMPARE(closing.count(), 0);
    }

    void aClosedPickerOpensItsListAndChoosesNothing_data() {
        QTest::addColumn<Qt::Key>("key");
        QTest::addColumn<Qt::KeyboardModifiers>("modifiers");
        const auto row = [](const char *name, Qt::Key key, Qt::KeyboardModifiers modifiers = {}) {
            QTest::newRow(name) << key << modifiers;
        };
        row("Down", Qt::Key_Down);
        row("Up", Qt::Key_Up);
        row("Alt and Down", Qt::Key_Down, Qt::AltModifier);
        row("Home", Qt::Key_Home);
        row("End", Qt::Key_End);
        row("Page Up", Qt::Key_PageUp);
        row("Page Down", Qt::Key_PageDown);
        row("F4", Qt::Key_F4);
        row("Space", Qt::Key_Space);
        row("a letter", Qt::Key_P);
        row("a capital letter", Qt::Key_P, Qt::ShiftModifier);
    }

    void aClosedPickerOpensItsListAndChoosesNothing() {
        QFETCH(Qt::Key, key);
        QFETCH(Qt::KeyboardModifiers, modifiers);
        PanelHarness harness;
        harness.show();
        const QString before = harness.controller->targetLanguageIdentifier();
        auto &picker = focusedTargetPicker(harness);
        QTest::keyClick(&picker, key, modifiers);
        QVERIFY(picker.view()->isVisible());
        QCOMPARE(harness.controller->targetLanguageIdentifier(), before);
    }

    void aShortcutsLetterIsNoName() {
        PanelHarness harness;
        harness.show();
        auto &picker = focusedTargetPicker(harness);
        for (const auto modifier : {Qt::ControlModifier, Qt::AltModifier, Qt::MetaModifier})
            QTest::keyClick(&picker, Qt::Key_P, modifier);
        QVERIFY(!picker.view()->isVisible());
    }

    /// Kazakh is among them, which switches the engine for good.
    void languagesThatAreOnlyPassedOverAreNotChosen() {
        PanelHarness harness;
        harness.controller->setTargetLanguageIdentifier(u"es"_s);
        harness.show();
        harness.platform.log.clear();
        auto &picker = openTargetPicker(harness);
        for (int press = 0; press < 20; ++press)
            QTest::keyClick(picker.view(), Qt::Key_Down);
        QCOMPARE(picker.view()->currentIndex().row(), picker.count() - 1);
        QTest::keyClick(picker.view(), Qt::Key_Escape);
        QVERIFY(!picker.view()->isVisible());
        QCOMPARE(harness.platform.log.calls(), QStringList());
        QCOMPARE(harness.controller->targetLanguageIdentifier(), u"es"_s);
        QCOMPARE(harness.controller->translationEngineIdentifier(), u"appleLocal"_s);
        QCOMPARE(picker.currentText(), u"🇪🇸 Spanish"_s);
    }

    void theListOpensAtWhatIsChosen() {
        PanelHarness harness;
        harness.show();
        auto &picker = openTargetPicker(harness);
        QCOMPARE(picker.view()->currentIndex().row(), picker.currentIndex());
    }

    void aListThatIsOpenedAgainBeginsAnotherName() {
        PanelHarness harness;
        harness.show();
        auto &picker = focusedTargetPicker(harness);
        type(&picker, u"Spanish"_s);
        QTest::keyClick(picker.view(), Qt::Key_Return);
        type(&picker, u"French"_s);
        QTest::keyClick(picker.view(), Qt::Key_Return);
        QCOMPARE(picker.currentText(), u"🇫🇷 French"_s);
    }

    void theListsKeysChooseOnce_data() { enterOnTheMainButtonStartsAndStops_data(); }

    void theListsKeysChooseOnce() {
        QFETCH(Qt::Key, key);
        PanelHarness harness;
        harness.show();
        auto &picker = openTargetPicker(harness);
        QSignalSpy picking(&picker, &Picker::picked);
        QTest::keyClick(picker.view(), Qt::Key_Home);
        QTest::keyClick(picker.view(), Qt::Key_Down);
        QTest::keyClick(picker.view(), key);
        QVERIFY(!picker.view()->isVisible());
        QCOMPARE(picking.count(), 1);
        QCOMPARE(harness.controller->targetLanguageIdentifier(),
                 harness.controller->targetLanguageOptions()[1].id);
    }

    void spaceInAListWithoutAMarkedOptionChoosesNothing() {
        PanelHarness harness;
        harness.show();
        auto &picker = focusedTargetPicker(harness);
        picker.select(u"no such language"_s);
        QSignalSpy picking(&picker, &Picker::picked);
        QTest::keyClick(&picker, Qt::Key_Space);
        picker.view()->setCurrentIndex({});
        QTest::keyClick(picker.view(), Qt::Key_Space);
        QVERIFY(!picker.view()->isVisible());
        QCOMPARE(picking.count(), 0);
    }

    void aClickInTheListChooses() {
        PanelHarness harness;
        harness.show();
        auto &picker = openTargetPicker(harness);
        const auto option = picker.view()->model()->index(2, 0);
        picker.view()->scrollTo(option);
        const QPoint place = picker.view()->visualRect(option).center();
        QTest::mouseMove(picker.view()->viewport(), place);
        QTest::mouseClick(picker.view()->viewport(), Qt::LeftButton, {}, place);
        QCOMPARE(harness.controller->targetLanguageIdentifier(),
                 harness.controller->targetLanguageOptions()[2].id);
    }

    /// They close it, as they opened it.
    void theKeysThatOnlyOpenTheListChooseNothingInIt_data() {
        QTest::addColumn<Qt::Key>("key");
        QTest::addColumn<Qt::KeyboardModifiers>("modifiers");
        QTest::newRow("F4") << Qt::Key_F4 << Qt::KeyboardModifiers();
        QTest::newRow("Alt and Down") << Qt::Key_Down << Qt::KeyboardModifiers(Qt::AltModifier);
        QTest::newRow("Alt and Up") << Qt::Key_Up << Qt::KeyboardModifiers(Qt::AltModifier);
    }

    void theKeysThatOnlyOpenTheListChooseNothingInIt() {
        QFETCH(Qt::Key, key);
        QFETCH(Qt::KeyboardModifiers, modifiers);
        PanelHarness harness;
        harness.show();
        const QString before = harness.controller->targetLanguageIdentifier();
        auto &picker = openTargetPicker(harness);
        QTest::keyClick(picker.view(), Qt::Key_Home);
        QTest::keyClick(picker.view(), key, modifiers);
        QVERIFY(!picker.view()->isVisible());
        QCOMPARE(harness.controller->targetLanguageIdentifier(), before);
    }

    void aTypedNameIsFoundAndChosenByEnter() {
        PanelHarness harness;
        harness.show();
        const QString before = harness.controller->targetLanguageIdentifier();
        auto &picker = focusedTargetPicker(harness);
        type(&picker, u"por"_s);
        QCOMPARE(picker.view()->currentIndex().data(Qt::AccessibleTextRole).toString(), u"Portuguese"_s);
        QCOMPARE(harness.controller->targetLanguageIdentifier(), before);
        QTest::keyClick(picker.view(), Qt::Key_Return);
        QCOMPARE(harness.controller->targetLanguageIdentifier(), u"pt"_s);
    }

    void aBlankWithinANameBelongsToTheName() {
        PanelHarness harness;
        harness.show();
        auto &picker = harness.find<Picker>(u"sourcePicker"_s);
        picker.setFocus();
        const QString name = u"english (united k"_s;
        type(&picker, name);
        QVERIFY(picker.view()->isVisible());
        QCOMPARE(picker.view()->currentIndex().data(Qt::AccessibleTextRole).toString(),
                 u"English (United Kingdom)"_s);
    }

    void aSpaceLongAfterTheLastLetterChooses() {
        PanelHarness harness;
        harness.show();
        auto &picker = focusedTargetPicker(harness);
        type(&picker, u"por"_s);
        QKeyEvent space(QEvent::KeyPress, Qt::Key_Space, Qt::NoModifier, u" "_s);
        space.setTimestamp(static_cast<quint64>(QApplication::keyboardInputInterval()) + 1);
        QApplication::sendEvent(picker.view(), &space);
        QCOMPARE(harness.controller->targetLanguageIdentifier(), u"pt"_s);
    }

    void theMainButtonGetsTheFocusBackAfterProcessing() {
        PanelHarness harness;
        harness.controller->setTargetLanguageIdentifier(u"en"_s);
        harness.show();
        harness.startProcessing();
        QVERIFY(focusName() != u"mainButton"_s);
        harness.finish(u"good morning"_s);
        QCOMPARE(focusName(), u"mainButton"_s);
    }

    void theMainButtonHasTheFocusAfterDictationsIntoAnotherApplication() {
        PanelHarness harness;
        harness.controller->setTargetLanguageIdentifier(u"en"_s);
        harness.show();
        for (int dictation = 0; dictation < 2; ++dictation) {
            QApplication::setActiveWindow(nullptr);
            harness.dictate(u"good morning"_s);
            QApplication::setActiveWindow(harness.panel.get());
            QCOMPARE(focusName(), u"mainButton"_s);
        }
    }

    void theMainButtonHasTheFocusAfterADictationBehindAClosedPanel() {
        PanelHarness harness;
        harness.controller->setTargetLanguageIdentifier(u"en"_s);
        harness.show();
        harness.panel->hide();
        harness.dictate(u"good morning"_s);
        harness.show();
        QCOMPARE(focusName(), u"mainButton"_s);
    }

    void aFieldThatIsDisabledInMidTypingGetsTheFocusBack() {
        PanelHarness harness;
        harness.useHostedEngine();
        harness.controller->setTargetLanguageIdentifier(u"en"_s);
        harness.show();
        harness.find<QWidget>(u"tokenField"_s).setFocus();
        harness.dictate(u"good morning"_s);
        QCOMPARE(focusName(), u"tokenField"_s);
    }

    void aFocusThatTheUserMovedMeanwhileStays() {
        PanelHarness harness;
        harness.controller->setTargetLanguageIdentifier(u"en"_s);
        harness.show();
        harness.startProcessing();
        harness.find<QWidget>(u"sourcePicker"_s).setFocus();
        harness.finish(u"good morning"_s);
        QCOMPARE(focusName(), u"sourcePicker"_s);
    }

    void afterACaptureTabGoesOnInTheHotKeyRow() {
        PanelHarness harness;
        harness.show();
        harness.controller->startHotKeyRecording();
        harness.platform.run();
        harness.controller->cancelHotKeyRecording();
        QCOMPARE(focusName(), u"hotKeyRecorder"_s);
        tab();
        QCOMPARE(focusName(), u"recordHotKeyButton"_s);
    }

    void aCaptureTakesTheFocusAndTheKeys() {
        PanelHarness harness;
        harness.show();
        harness.controller->startHotKeyRecording();
        harness.platform.run();
        QCOMPARE(focusName(), u"hotKeyRecorder"_s);
        tab();
        QCOMPARE(focusName(), u"hotKeyRecorder"_s);
    }
};

QTEST_MAIN(ContentViewKeyboardTest)
#include "ContentViewKeyboardTest.moc"
