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

} // namespace

class ContentViewKeyboardTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
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

    void typingANamePicksItsLanguage() {
        PanelHarness harness;
        harness.show();
        auto &picker = harness.find<Picker>(u"targetPicker"_qs);
        picker.setFocus();
        QTest::keyClicks(&picker, u"por"_qs);
        QCOMPARE(harness.controller->targetLanguageIdentifier(), u"pt"_qs);
    }

    void arrowsPickTheNextLanguage() {
        PanelHarness harness;
        harness.controller->setTargetLanguageIdentifier(harness.controller->targetLanguageOptions()[0].id);
        harness.show();
        auto &picker = harness.find<Picker>(u"targetPicker"_qs);
        picker.setFocus();
        QTest::keyClick(&picker, Qt::Key_Down);
        QCOMPARE(harness.controller->targetLanguageIdentifier(),
                 harness.controller->targetLanguageOptions()[1].id);
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
