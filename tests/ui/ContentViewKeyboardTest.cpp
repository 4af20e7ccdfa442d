#include "ui/PanelButton.h"
#include "ui/PanelHarness.h"
#include "ui/Picker.h"

#include <QAbstractItemView>
#include <QLineEdit>
#include <QSignalSpy>
#include <QTest>

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
    auto &picker = harness.find<Picker>(u"targetPicker"_qs);
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
        harness.controller->setTargetLanguageIdentifier(u"en"_qs);
        harness.useHostedEngine();
        harness.dictate(u"good morning"_qs);                            // enables the paste button
        harness.controller->setRecordedHotKey({40, AppHotKey::cmdKey}); // and the reset button
        harness.show();
        const QStringList order{u"recordHotKeyButton"_qs, u"resetHotKeyButton"_qs, u"quitButton"_qs,
                                u"sourcePicker"_qs,       u"swapButton"_qs,        u"targetPicker"_qs,
                                u"enginePicker"_qs,       u"endpointField"_qs,     u"tokenField"_qs,
                                u"mainButton"_qs,         u"prepareButton"_qs,     u"pasteButton"_qs,
                                u"transcriptText"_qs,     u"translationText"_qs};
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
        harness.controller->setTargetLanguageIdentifier(u"es"_qs);
        harness.show();
        harness.find<QWidget>(u"enginePicker"_qs).setFocus();
        tab();
        QCOMPARE(focusName(), u"mainButton"_qs);
        tab();
        tab();
        QCOMPARE(focusName(), u"transcriptText"_qs);
    }

    void theOpenedPanelHasTheFocusOnTheMainButton() {
        PanelHarness harness;
        harness.show();
        QCOMPARE(focusName(), u"mainButton"_qs);
    }

    void aPanelThatOpensAgainKeepsItsFocus() {
        PanelHarness harness;
        harness.show();
        harness.find<QWidget>(u"targetPicker"_qs).setFocus();
        harness.panel->hide();
        harness.show();
        QCOMPARE(focusName(), u"targetPicker"_qs);
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
        QCOMPARE(focusName(), u"mainButton"_qs);
        QTest::keyClick(QApplication::focusWidget(), key);
        QVERIFY(!harness.controller->isRecording());
    }

    void aHeldEnterStartsOnce() {
        PanelHarness harness;
        harness.show();
        QTest::keyPress(QApplication::focusWidget(), Qt::Key_Return);
        harness.platform.run();
        QKeyEvent repeated(QEvent::KeyPress, Qt::Key_Return, Qt::NoModifier, u"\r"_qs, true);
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
        harness.find<QWidget>(u"targetPicker"_qs).setFocus();
        QTest::keyClick(QApplication::focusWidget(), Qt::Key_Escape);
        QVERIFY(!harness.controller->isRecordingHotKey());
        QCOMPARE(closing.count(), 0);
        QTest::keyClick(QApplication::focusWidget(), Qt::Key_Escape);
        QCOMPARE(closing.count(), 1);
    }

    void anEscapeThatIsHeldCancelsACaptureAndNoMore_data() {
        QTest::addColumn<QString>("focused");
        QTest::addColumn<bool>("isMarked");
        QTest::newRow("in the recorder") << u"hotKeyRecorder"_qs << true;
        QTest::newRow("elsewhere") << u"targetPicker"_qs << true;
        QTest::newRow("in the recorder, unknown to the toolkit") << u"hotKeyRecorder"_qs << false;
        QTest::newRow("elsewhere, unknown to the toolkit") << u"targetPicker"_qs << false;
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
        QCOMPARE(harness.controller->statusText(), u"Hotkey unchanged."_qs);
        sendEscape(QEvent::KeyPress, time + 100);
        QCOMPARE(closing.count(), 1);
    }

    void escapeClosesAnOpenMenuBeforeThePanel() {
        PanelHarness harness;
        harness.show();
        QSignalSpy closing(harness.panel.get(), &ContentView::closeRequested);
        auto &picker = harness.find<Picker>(u"targetPicker"_qs);
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
        harness.controller->setTargetLanguageIdentifier(u"es"_qs);
        harness.show();
        harness.platform.log.clear();
        auto &picker = openTargetPicker(harness);
        for (int press = 0; press < 20; ++press)
            QTest::keyClick(picker.view(), Qt::Key_Down);
        QCOMPARE(picker.view()->currentIndex().row(), picker.count() - 1);
        QTest::keyClick(picker.view(), Qt::Key_Escape);
        QVERIFY(!picker.view()->isVisible());
        QCOMPARE(harness.platform.log.calls(), QStringList());
        QCOMPARE(harness.controller->targetLanguageIdentifier(), u"es"_qs);
        QCOMPARE(harness.controller->translationEngineIdentifier(), u"appleLocal"_qs);
        QCOMPARE(picker.currentText(), u"🇪🇸 Spanish"_qs);
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
        type(&picker, u"Spanish"_qs);
        QTest::keyClick(picker.view(), Qt::Key_Return);
        type(&picker, u"French"_qs);
        QTest::keyClick(picker.view(), Qt::Key_Return);
        QCOMPARE(picker.currentText(), u"🇫🇷 French"_qs);
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
        picker.select(u"no such language"_qs);
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
        type(&picker, u"por"_qs);
        QCOMPARE(picker.view()->currentIndex().data(Qt::AccessibleTextRole).toString(), u"Portuguese"_qs);
        QCOMPARE(harness.controller->targetLanguageIdentifier(), before);
        QTest::keyClick(picker.view(), Qt::Key_Return);
        QCOMPARE(harness.controller->targetLanguageIdentifier(), u"pt"_qs);
    }

    void aBlankWithinANameBelongsToTheName() {
        PanelHarness harness;
        harness.show();
        auto &picker = harness.find<Picker>(u"sourcePicker"_qs);
        picker.setFocus();
        const QString name = u"english (united k"_qs;
        type(&picker, name);
        QVERIFY(picker.view()->isVisible());
        QCOMPARE(picker.view()->currentIndex().data(Qt::AccessibleTextRole).toString(),
                 u"English (United Kingdom)"_qs);
    }

    void aSpaceLongAfterTheLastLetterChooses() {
        PanelHarness harness;
        harness.show();
        auto &picker = focusedTargetPicker(harness);
        type(&picker, u"por"_qs);
        QKeyEvent space(QEvent::KeyPress, Qt::Key_Space, Qt::NoModifier, u" "_qs);
        space.setTimestamp(static_cast<quint64>(QApplication::keyboardInputInterval()) + 1);
        QApplication::sendEvent(picker.view(), &space);
        QCOMPARE(harness.controller->targetLanguageIdentifier(), u"pt"_qs);
    }

    void theMainButtonGetsTheFocusBackAfterProcessing() {
        PanelHarness harness;
        harness.controller->setTargetLanguageIdentifier(u"en"_qs);
        harness.show();
        harness.startProcessing();
        QVERIFY(focusName() != u"mainButton"_qs);
        harness.finish(u"good morning"_qs);
        QCOMPARE(focusName(), u"mainButton"_qs);
    }

    void theMainButtonHasTheFocusAfterDictationsIntoAnotherApplication() {
        PanelHarness harness;
        harness.controller->setTargetLanguageIdentifier(u"en"_qs);
        harness.show();
        for (int dictation = 0; dictation < 2; ++dictation) {
            QApplication::setActiveWindow(nullptr);
            harness.dictate(u"good morning"_qs);
            QApplication::setActiveWindow(harness.panel.get());
            QCOMPARE(focusName(), u"mainButton"_qs);
        }
    }

    void theMainButtonHasTheFocusAfterADictationBehindAClosedPanel() {
        PanelHarness harness;
        harness.controller->setTargetLanguageIdentifier(u"en"_qs);
        harness.show();
        harness.panel->hide();
        harness.dictate(u"good morning"_qs);
        harness.show();
        QCOMPARE(focusName(), u"mainButton"_qs);
    }

    void aFieldThatIsDisabledInMidTypingGetsTheFocusBack() {
        PanelHarness harness;
        harness.useHostedEngine();
        harness.controller->setTargetLanguageIdentifier(u"en"_qs);
        harness.show();
        harness.find<QWidget>(u"tokenField"_qs).setFocus();
        harness.dictate(u"good morning"_qs);
        QCOMPARE(focusName(), u"tokenField"_qs);
    }

    void aFocusThatTheUserMovedMeanwhileStays() {
        PanelHarness harness;
        harness.controller->setTargetLanguageIdentifier(u"en"_qs);
        harness.show();
        harness.startProcessing();
        harness.find<QWidget>(u"sourcePicker"_qs).setFocus();
        harness.finish(u"good morning"_qs);
        QCOMPARE(focusName(), u"sourcePicker"_qs);
    }

    void afterACaptureTabGoesOnInTheHotKeyRow() {
        PanelHarness harness;
        harness.show();
        harness.controller->startHotKeyRecording();
        harness.platform.run();
        harness.controller->cancelHotKeyRecording();
        QCOMPARE(focusName(), u"hotKeyRecorder"_qs);
        tab();
        QCOMPARE(focusName(), u"recordHotKeyButton"_qs);
    }

    void aCaptureTakesTheFocusAndTheKeys() {
        PanelHarness harness;
        harness.show();
        harness.controller->startHotKeyRecording();
        harness.platform.run();
        QCOMPARE(focusName(), u"hotKeyRecorder"_qs);
        tab();
        QCOMPARE(focusName(), u"hotKeyRecorder"_qs);
    }
};

QTEST_MAIN(ContentViewKeyboardTest)
#include "ContentViewKeyboardTest.moc"
