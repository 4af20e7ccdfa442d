#include "controller/HostedEndpoint.h"
#include "ui/LimitedLabel.h"
#include "ui/PanelButton.h"
#include "ui/PanelHarness.h"
#include "ui/PanelPalette.h"
#include "ui/PickerMark.h"
#include "ui/SymbolView.h"
#include "ui/TextPane.h"
#include "ui/ToolTip.h"

#include <QClipboard>
#include <QInputMethodEvent>
#include <QLabel>
#include <QLayout>
#include <QLineEdit>
#include <QScrollBar>
#include <QSignalSpy>
#include <QTest>
#include <QWheelEvent>

using namespace quillora;
using namespace quillora::test;
using namespace std::chrono_literals;

namespace {

const auto hosted = u"openAINatural"_qs;
const auto local = u"appleLocal"_qs;

QStringList rowsOf(const Picker &picker) {
    QStringList rows;
    for (int row = 0; row < picker.count(); ++row)
        rows += picker.itemText(row);
    return rows;
}

void pick(Picker &picker, const QString &text) {
    picker.setCurrentIndex(picker.findText(text));
    Q_EMIT picker.activated(picker.currentIndex());
}

/// Writes something else over what the widgets of a panel show, and tells which of them the panel has drawn
/// anew since.
class Overwritten {
public:
    explicit Overwritten(const PanelHarness &harness) : m_harness(harness) {
        const QString nothing = u"overwritten"_qs;
        for (const char *name : {"hotKeyText", "footerText", "statusText"})
            show<LimitedLabel>(name, &LimitedLabel::text, &LimitedLabel::setPlainText, nothing);
        for (const char *name : {"transcriptText", "translationText"})
            show<TextPane>(name, &TextPane::text, &TextPane::setText, nothing);
        for (const char *name : {"endpointField", "tokenField"})
            show<QLineEdit>(name, &QLineEdit::text, &QLineEdit::setText, nothing);
        for (const char *name : {"sourcePicker", "targetPicker", "enginePicker"})
            show<Picker>(name, &Picker::currentIndex, &Picker::setCurrentIndex, -1);
        for (const char *name : {"mainButton", "recordHotKeyButton"})
            show<PanelButton>(name, &PanelButton::symbol, &PanelButton::setSymbol, nothing);
        show<SymbolView>("headerIcon", &SymbolView::symbol, &SymbolView::setSymbol, nothing);
        show<SymbolView>("statusDot", &SymbolView::color, &SymbolView::setColor, QColor(1, 2, 3));
    }

    /// In alphabetical order.
    QStringList drawnAnew() const {
        QStringList names;
        for (const auto &[name, isOverwritten] : m_isOverwritten) {
            if (!isOverwritten())
                names += name;
        }
        return names;
    }

private:
    template <typename Widget, typename Get, typename Set, typename Value>
    void show(const char *name, Get get, Set set, const Value &value) {
        auto &widget = m_harness.find<Widget>(QString::fromLatin1(name));
        (widget.*set)(value);
        m_isOverwritten[QString::fromLatin1(name)] = [&widget, get, value] {
            return (widget.*get)() == value;
        };
    }

    const PanelHarness &m_harness;
    std::map<QString, std::function<bool()>> m_isOverwritten;
};

/// What the controller does, and what it has translated last.
struct State {
    const char *name;
    bool isRecording;
    bool isProcessing;
    bool hasTranslation;
};

void enter(PanelHarness &harness, const State &state) {
    if (state.hasTranslation)
        harness.dictate(u"good morning"_qs);
    if (state.isRecording)
        harness.startRecording(); // which clears the translation
    if (state.isProcessing && state.hasTranslation)
        harness.startPreparingModels();
    else if (state.isProcessing)
        harness.startProcessing();
}

/// The pair needs the hosted engine, nobody has entered a backend, and the user has just read what to do.
void failAtTheDefaultEndpoint(PanelHarness &harness) {
    harness.controller->setTargetLanguageIdentifier(u"kk"_qs);
    harness.platform.http.transportError = u"Connection refused."_qs;
    harness.show();
    harness.dictate(u"hello"_qs);
}

} // namespace

class ContentViewTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    // What is recorded, shown at a glance.

    void whileRecordingTheHeaderIconIsTheRedMicrophone() {
        PanelHarness harness;
        harness.startRecording();
        const auto &icon = harness.find<SymbolView>(u"headerIcon"_qs);
        QCOMPARE(icon.symbol(), u"mic.circle.fill"_qs);
        QCOMPARE(icon.color(), PanelPalette::recording(harness.panel->palette()));
    }

    void whileRecordingTheMainButtonReadsStop() {
        PanelHarness harness;
        harness.startRecording();
        const auto &button = harness.find<PanelButton>(u"mainButton"_qs);
        QCOMPARE(button.text(), u"Stop"_qs);
        QCOMPARE(button.symbol(), u"stop.fill"_qs);
        QCOMPARE(button.surfaceColor(), PanelPalette::recordingSurface());
    }

    void whileRecordingTheStatusDotIsRed() {
        PanelHarness harness;
        harness.startRecording();
        QCOMPARE(harness.find<SymbolView>(u"statusDot"_qs).color(),
                 PanelPalette::recording(harness.panel->palette()));
    }

    void whileIdleTheHeaderIconIsTheGlobeInTheAccentColour() {
        PanelHarness harness;
        const auto &icon = harness.find<SymbolView>(u"headerIcon"_qs);
        QCOMPARE(icon.symbol(), u"globe"_qs);
        QCOMPARE(icon.color(), PanelPalette::accentText(harness.panel->palette()));
        QCOMPARE(harness.find<PanelButton>(u"mainButton"_qs).text(), u"Start"_qs);
        QCOMPARE(harness.find<PanelButton>(u"mainButton"_qs).symbol(), u"mic.fill"_qs);
        QCOMPARE(harness.find<SymbolView>(u"statusDot"_qs).color(),
                 PanelPalette::idle(harness.panel->palette()));
    }

    void whileProcessingTheStatusDotIsOrangeAndTheIconTheGlobe() {
        PanelHarness harness;
        harness.startProcessing();
        QCOMPARE(harness.find<SymbolView>(u"statusDot"_qs).color(),
                 PanelPalette::processing(harness.panel->palette()));
        QCOMPARE(harness.find<SymbolView>(u"headerIcon"_qs).symbol(), u"globe"_qs);
        QCOMPARE(harness.find<PanelButton>(u"mainButton"_qs).text(), u"Start"_qs);
    }

    /// Models can be prepared while the start of a recording still waits for its permissions.
    void recordingShowsEvenWhileSomethingIsProcessed() {
        PanelHarness harness;
        harness.controller->setTargetLanguageIdentifier(u"es"_qs);
        harness.platform.permissions.replies = FakeSpeechPermissions::Replies::byHand;
        harness.controller->startRecording();
        harness.startPreparingModels();
        harness.platform.permissions.speechRecognitionReplies.front()(true);
        harness.platform.run();
        harness.platform.permissions.microphoneReplies.front()(true);
        harness.platform.run();
        QVERIFY(harness.controller->isRecording());
        QVERIFY(harness.controller->isProcessing());
        QCOMPARE(harness.find<SymbolView>(u"statusDot"_qs).color(),
                 PanelPalette::recording(harness.panel->palette()));
        const auto &button = harness.find<PanelButton>(u"mainButton"_qs);
        QCOMPARE(button.text(), u"Stop"_qs);
        QVERIFY(button.isEnabled());
    }

    void theThreeStatesHaveThreeColours() {
        PanelHarness harness;
        const QPalette palette = harness.panel->palette();
        QVERIFY(PanelPalette::recording(palette).hue() < 15 || PanelPalette::recording(palette).hue() > 345);
        QVERIFY(PanelPalette::processing(palette).hue() > 20 && PanelPalette::processing(palette).hue() < 50);
        QVERIFY(PanelPalette::idle(palette).hue() > 100 && PanelPalette::idle(palette).hue() < 160);
    }

    // The hosted engine.

    void switchingToTheOnDeviceEngineHidesBothBackendFieldsAtOnce() {
        PanelHarness harness;
        harness.useHostedEngine();
        harness.show();
        const auto &endpoint = harness.find<QLineEdit>(u"endpointField"_qs);
        const auto &token = harness.find<QLineEdit>(u"tokenField"_qs);
        QVERIFY(endpoint.isVisible() && token.isVisible());
        harness.controller->setTargetLanguageIdentifier(u"es"_qs);
        harness.controller->setTranslationEngineIdentifier(local);
        QVERIFY(!endpoint.isVisible() && !token.isVisible());
    }

    void switchingBackShowsTheFieldsWithTheirPreviousContents() {
        PanelHarness harness;
        harness.controller->setTargetLanguageIdentifier(u"es"_qs);
        harness.useHostedEngine();
        harness.show();
        auto &endpoint = harness.find<QLineEdit>(u"endpointField"_qs);
        auto &token = harness.find<QLineEdit>(u"tokenField"_qs);
        endpoint.selectAll();
        QTest::keyClicks(&endpoint, u"https://example.org/v1"_qs);
        QTest::keyClicks(&token, u"abc"_qs);
        pick(harness.find<Picker>(u"enginePicker"_qs), u"Apple Local"_qs);
        QVERIFY(!endpoint.isVisible() && !token.isVisible());
        pick(harness.find<Picker>(u"enginePicker"_qs), u"OpenAI Natural"_qs);
        QVERIFY(endpoint.isVisible() && token.isVisible());
        QCOMPARE(endpoint.text(), u"https://example.org/v1"_qs);
        QCOMPARE(token.text(), u"abc"_qs);
    }

    void thePanelIsAsHighAsItsContent() {
        PanelHarness harness;
        harness.show();
        const QSize low = harness.panel->size();
        harness.useHostedEngine();
        QTRY_VERIFY(harness.panel->height() > low.height());
        QCOMPARE(harness.panel->width(), 380);
        QCOMPARE(low.width(), 380);
    }

    void theHighestPanelFitsAScreenOf768Lines() {
        PanelHarness harness;
        harness.useHostedEngine();
        harness.show();
        QTRY_VERIFY(harness.panel->height() == harness.panel->sizeHint().height());
        QVERIFY2(harness.panel->height() <= 720, qPrintable(QString::number(harness.panel->height())));
    }

    void theTokenIsMaskedAndCannotBeCopied() {
        PanelHarness harness;
        harness.controller->setOpenAIClientToken(u"secret"_qs);
        harness.useHostedEngine();
        harness.show();
        auto &token = harness.find<QLineEdit>(u"tokenField"_qs);
        QCOMPARE(token.echoMode(), QLineEdit::Password);
        QVERIFY(!token.displayText().contains(u"secret"_qs));
        token.selectAll();
        QApplication::clipboard()->setText(u"before"_qs);
        token.copy();
        QCOMPARE(QApplication::clipboard()->text(), u"before"_qs);
        QCOMPARE(harness.controller->openAIClientToken(), u"secret"_qs);
    }

    void anInterimWordDrawsNothingButTheTranscriptAndTheStatusLine() {
        PanelHarness harness;
        harness.show();
        harness.startRecording();
        const Overwritten overwritten(harness);
        harness.say(u"good"_qs);
        QCOMPARE(overwritten.drawnAnew(), (QStringList{u"statusText"_qs, u"transcriptText"_qs}));
    }

    void aChangeDrawsOnlyWhatShowsIt_data() {
        using Change = std::function<void(AppController &)>;
        QTest::addColumn<Change>("change");
        QTest::addColumn<QStringList>("drawn");
        const QStringList languages{u"footerText"_qs, u"sourcePicker"_qs, u"targetPicker"_qs};
        const QStringList hotKey{u"hotKeyText"_qs, u"recordHotKeyButton"_qs};
        QTest::newRow("status") << Change([](auto &c) { c.setStatusText(u"Hello."_qs); })
                                << QStringList{u"statusText"_qs};
        QTest::newRow("source") << Change([](auto &c) { c.setSourceLocaleIdentifier(u"es-ES"_qs); })
                                << languages;
        QTest::newRow("target") << Change([](auto &c) { c.setTargetLanguageIdentifier(u"fr"_qs); })
                                << languages;
        QTest::newRow("engine") << Change([](auto &c) { c.setTranslationEngineIdentifier(hosted); })
                                << QStringList{u"enginePicker"_qs};
        QTest::newRow("endpoint") << Change([](auto &c) {
            c.setOpenAIEndpointString(u"https://a.example"_qs);
        }) << QStringList{u"endpointField"_qs};
        QTest::newRow("token") << Change([](auto &c) { c.setOpenAIClientToken(u"t"_qs); })
                               << QStringList{u"tokenField"_qs};
        QTest::newRow("hotkey capture")
            << Change([](auto &c) { c.startHotKeyRecording(); }) << hotKey + QStringList{u"statusText"_qs};
        QTest::newRow("start") << Change([](auto &c) { c.startRecording(); })
                               << QStringList{u"statusText"_qs, u"transcriptText"_qs, u"translationText"_qs};
    }
    void aChangeDrawsOnlyWhatShowsIt() {
        QFETCH(std::function<void(AppController &)>, change);
        QFETCH(QStringList, drawn);
        PanelHarness harness;
        harness.show();
        const Overwritten overwritten(harness);
        change(*harness.controller);
        QCOMPARE(overwritten.drawnAnew(), drawn);
    }

    void recordingAndProcessingDrawWhatShowsThem() {
        PanelHarness harness;
        harness.show();
        harness.controller->startRecording();
        const Overwritten overwritten(harness);
        harness.platform.run();
        QVERIFY(harness.controller->isRecording());
        QCOMPARE(overwritten.drawnAnew(),
                 (QStringList{u"headerIcon"_qs, u"mainButton"_qs, u"statusDot"_qs, u"statusText"_qs}));
    }

    void onlyInTheActivePanelIsTheUserAskedForTheKeychain() {
        PanelHarness harness([](FakePlatform &platform) { platform.keychainFake.isBroken = true; });
        harness.useHostedEngine();
        harness.show();
        QWidget elsewhere;
        elsewhere.show();
        QTest::keyClicks(&harness.find<QLineEdit>(u"tokenField"_qs), u"t"_qs);
        QApplication::setActiveWindow(&elsewhere);
        harness.platform.queue.advance(1s);
        QVERIFY(!harness.platform.keychainAvailabilityFake.isAsking());
        QApplication::setActiveWindow(harness.panel.get());
        harness.platform.queue.advance(1s);
        QVERIFY(harness.platform.keychainAvailabilityFake.isAsking());
    }

    void aPanelThatIsClosedAndOpenedAgainAsksForNoKeychainByItself() {
        PanelHarness harness([](FakePlatform &platform) { platform.keychainFake.isBroken = true; });
        harness.useHostedEngine();
        harness.show();
        QTest::keyClicks(&harness.find<QLineEdit>(u"tokenField"_qs), u"t"_qs);
        harness.panel->hide();
        harness.show();
        harness.platform.queue.advance(1s);
        QVERIFY(!harness.platform.keychainAvailabilityFake.isAsking());
    }

    void whatToDoWithoutABackendFitsTheStatusLine() {
        PanelHarness harness;
        harness.show();
        const auto &status = harness.find<LimitedLabel>(u"statusText"_qs);
        const QFontMetrics metrics = status.fontMetrics();
        const QString text = u"Translation failed: "_qs + adviceWithoutDefaultEndpoint() + u" …"_qs;
        const QRect room(0, 0, status.width(), 10 * metrics.lineSpacing());
        const int height = metrics.boundingRect(room, Qt::TextWordWrap, text).height();
        QVERIFY2(height <= 2 * metrics.lineSpacing(), qPrintable(QString::number(height)));
    }

    void withoutABackendTheUrlIsEnteredWhereTheAdviceIsRead() {
        PanelHarness harness;
        failAtTheDefaultEndpoint(harness);
        auto &endpoint = harness.find<QLineEdit>(u"endpointField"_qs);
        QVERIFY(endpoint.isVisible());
        QVERIFY(endpoint.isEnabled());
        QCOMPARE(endpoint.toolTip(), u"Backend URL"_qs);
        endpoint.selectAll();
        QTest::keyClicks(&endpoint, u"https://my.example/t"_qs);
        harness.platform.http.transportError.reset();
        harness.dictate(u"hello"_qs);
        QCOMPARE(harness.controller->statusText(), u"Inserted translation."_qs);
        QCOMPARE(harness.platform.http.requests.back().url, QUrl(u"https://my.example/t"_qs));
    }

    void withoutABackendTheOtherAdviceLeadsToATranslationOnThisComputer() {
        PanelHarness harness;
        failAtTheDefaultEndpoint(harness);
        QVERIFY(harness.controller->statusText().contains(
            u"choose languages that Apple Local can translate."_qs));
        pick(harness.find<Picker>(u"targetPicker"_qs), u"🇪🇸 Spanish"_qs);
        pick(harness.find<Picker>(u"enginePicker"_qs), u"Apple Local"_qs);
        harness.dictate(u"hello"_qs);
        QCOMPARE(harness.controller->statusText(), u"Inserted translation."_qs);
        QCOMPARE(harness.controller->translatedText(), u"<hello>"_qs);
        QCOMPARE(harness.platform.http.requests.size(), 1u);
    }

    void editsReachTheSettings() {
        PanelHarness harness;
        harness.useHostedEngine();
        harness.show();
        auto &endpoint = harness.find<QLineEdit>(u"endpointField"_qs);
        endpoint.clear();
        QTest::keyClicks(&endpoint, u" http://x "_qs);
        QTest::keyClicks(&harness.find<QLineEdit>(u"tokenField"_qs), u" t "_qs);
        QCOMPARE(harness.controller->openAIEndpointString(), u" http://x "_qs);
        QCOMPARE(harness.controller->openAIClientToken(), u" t "_qs);
    }

    // Changing the hotkey.

    void theHotKeysToolTipTellsWhatTheDesktopCanBindAKeyTo() {
        PanelHarness harness;
        QVERIFY(
            harness.find<QLabel>(u"hotKeyText"_qs)
                .toolTip()
                .contains(u"dbus-send --type=method_call --dest=org.quillora.Quillora /org/quillora/Quillora "
                          "org.quillora.Quillora.Toggle"_qs));
    }

    void whileAHotKeyIsRecordedItsTextTakesTheAccentColour() {
        PanelHarness harness;
        const auto &text = harness.find<LimitedLabel>(u"hotKeyText"_qs);
        const QPalette &palette = harness.panel->palette();
        QCOMPARE(text.text(), u"Ctrl Option Space"_qs);
        QCOMPARE(text.palette().color(QPalette::WindowText), palette.color(QPalette::PlaceholderText));
        harness.controller->startHotKeyRecording();
        QCOMPARE(text.text(), u"Press shortcut"_qs);
        QCOMPARE(text.palette().color(QPalette::WindowText), PanelPalette::accentText(palette));
    }

    void whileAHotKeyIsRecordedTheRecordButtonIsTheCancelButton() {
        PanelHarness harness;
        auto &button = harness.find<PanelButton>(u"recordHotKeyButton"_qs);
        QCOMPARE(button.symbol(), u"keyboard"_qs);
        QCOMPARE(button.toolTip(), u"Record hotkey"_qs);
        button.click();
        QVERIFY(harness.controller->isRecordingHotKey());
        QCOMPARE(button.symbol(), u"xmark.circle"_qs);
        QCOMPARE(button.toolTip(), u"Cancel hotkey recording"_qs);
        button.click();
        QVERIFY(!harness.controller->isRecordingHotKey());
        QCOMPARE(button.symbol(), u"keyboard"_qs);
        QCOMPARE(harness.controller->statusText(), u"Hotkey unchanged."_qs);
    }

    void theResetButtonIsDisabledExactlyWhileTheHotKeyIsTheDefaultOne() {
        PanelHarness harness;
        auto &button = harness.find<PanelButton>(u"resetHotKeyButton"_qs);
        QVERIFY(!button.isEnabled());
        harness.controller->setRecordedHotKey({40, AppHotKey::cmdKey});
        QVERIFY(button.isEnabled());
        button.click();
        QCOMPARE(harness.controller->hotKey(), AppHotKey::defaultValue);
        QVERIFY(!button.isEnabled());
        harness.controller->setRecordedHotKey({49, AppHotKey::defaultValue.modifiers | 1});
        QVERIFY(button.isEnabled());
    }

    void aCapturedHotKeyReachesTheController() {
        PanelHarness harness;
        harness.show();
        harness.find<PanelButton>(u"recordHotKeyButton"_qs).click();
        harness.platform.run();
        pressInFocus(Qt::Key_K, 40, Qt::NoModifier);
        QCOMPARE(harness.controller->statusText(), u"Use Ctrl, Option, or Cmd with another key."_qs);
        QVERIFY(harness.controller->isRecordingHotKey());
        pressInFocus(Qt::Key_K, 40, Qt::MetaModifier);
        QCOMPARE(harness.controller->statusText(), u"Hotkey updated to Cmd K."_qs);
        QCOMPARE(harness.find<LimitedLabel>(u"hotKeyText"_qs).text(), u"Cmd K"_qs);
    }

    void escapeAloneCancelsTheCapture() {
        PanelHarness harness;
        harness.show();
        QSignalSpy closing(harness.panel.get(), &ContentView::closeRequested);
        harness.controller->startHotKeyRecording();
        harness.platform.run();
        pressInFocus(Qt::Key_Escape, 53, Qt::NoModifier);
        QVERIFY(!harness.controller->isRecordingHotKey());
        QCOMPARE(harness.controller->statusText(), u"Hotkey unchanged."_qs);
        QCOMPARE(closing.count(), 0);
        pressInFocus(Qt::Key_Escape, 53, Qt::NoModifier);
        QCOMPARE(closing.count(), 1);
    }

    // What is enabled when.

    void everyControlIsEnabledByItsRule_data() {
        QTest::addColumn<int>("index");
        for (int index = 0; index < static_cast<int>(std::size(states)); ++index)
            QTest::newRow(states[index].name) << index;
    }

    void everyControlIsEnabledByItsRule() {
        QFETCH(int, index);
        const State &state = states[index];
        PanelHarness harness;
        harness.controller->setTargetLanguageIdentifier(u"es"_qs);
        enter(harness, state);
        QCOMPARE(harness.controller->isRecording(), state.isRecording);
        QCOMPARE(harness.controller->isProcessing(), state.isProcessing);
        QCOMPARE(!harness.controller->translatedText().isEmpty(), state.hasTranslation);

        const auto isEnabled = [&harness](const QString &name) {
            return harness.find<QWidget>(name).isEnabled();
        };
        const bool isBusy = state.isRecording || state.isProcessing;
        QCOMPARE(isEnabled(u"mainButton"_qs), state.isRecording || !state.isProcessing);
        QCOMPARE(isEnabled(u"prepareButton"_qs), !isBusy);
        QCOMPARE(isEnabled(u"pasteButton"_qs), state.hasTranslation && !isBusy);
        QCOMPARE(isEnabled(u"endpointField"_qs), !isBusy);
        QCOMPARE(isEnabled(u"tokenField"_qs), !isBusy);
        for (const auto &name :
             {u"sourcePicker"_qs, u"targetPicker"_qs, u"enginePicker"_qs, u"swapButton"_qs,
              u"recordHotKeyButton"_qs, u"quitButton"_qs, u"transcriptText"_qs, u"translationText"_qs})
            QVERIFY2(isEnabled(name), qPrintable(name));
    }

    void anEmptyTranslationDisablesThePasteButton() {
        PanelHarness harness;
        QVERIFY(!harness.find<QWidget>(u"pasteButton"_qs).isEnabled());
    }

    void theSwapButtonNeedsAPairThatCanBeSwapped() {
        PanelHarness harness;
        const auto &button = harness.find<PanelButton>(u"swapButton"_qs);
        harness.controller->setTargetLanguageIdentifier(u"es"_qs);
        QVERIFY(button.isEnabled());
        harness.controller->setTargetLanguageIdentifier(u"th"_qs); // which nobody can dictate here
        QVERIFY(!button.isEnabled());
    }

    // The pickers.

    void thePickersOfferEveryOption() {
        PanelHarness harness;
        QStringList sources;
        for (const auto &option : harness.controller->spokenLanguageOptions())
            sources += option.flag + u' ' + option.name;
        QCOMPARE(rowsOf(harness.find<Picker>(u"sourcePicker"_qs)), sources);
        QStringList targets;
        for (const auto &option : harness.controller->targetLanguageOptions())
            targets += option.flag + u' ' + option.name;
        QCOMPARE(rowsOf(harness.find<Picker>(u"targetPicker"_qs)), targets);
        QCOMPARE(rowsOf(harness.find<Picker>(u"enginePicker"_qs)),
                 (QStringList{u"Apple Local"_qs, u"OpenAI Natural"_qs}));
        QVERIFY(sources.contains(u"🇺🇸 English (United States)"_qs));
        QCOMPARE(targets.size(), 21);
    }

    void thePickersHaveVisibleTitles() {
        PanelHarness harness;
        harness.show();
        QStringList titles;
        for (const auto *label : harness.panel->findChildren<QLabel *>()) {
            if (label->isVisible() && qobject_cast<Picker *>(label->buddy()))
                titles += label->text();
        }
        QCOMPARE(titles, (QStringList{u"Dictate"_qs, u"Translate to"_qs, u"Engine"_qs}));
    }

    void pickingChangesTheSetting() {
        PanelHarness harness;
        pick(harness.find<Picker>(u"sourcePicker"_qs), u"🇪🇸 Spanish (Spain)"_qs);
        QCOMPARE(harness.controller->sourceLocaleIdentifier(), u"es-ES"_qs);
        pick(harness.find<Picker>(u"targetPicker"_qs), u"🇩🇪 German"_qs);
        QCOMPARE(harness.controller->targetLanguageIdentifier(), u"de"_qs);
        pick(harness.find<Picker>(u"enginePicker"_qs), u"OpenAI Natural"_qs);
        QCOMPARE(harness.controller->translationEngineIdentifier(), hosted);
    }

    void theNamesOfTheLanguagesAreReadable_data() {
        QTest::addColumn<QString>("source");
        QTest::addColumn<QString>("target");
        QTest::newRow("long and short") << u"en-US"_qs << u"ru"_qs;
        QTest::newRow("long and shorter") << u"en-US"_qs << u"es"_qs;
        QTest::newRow("short and long") << u"de-DE"_qs << u"zh"_qs;
        QTest::newRow("both short") << u"de-DE"_qs << u"nl"_qs;
    }

    void theNamesOfTheLanguagesAreReadable() {
        QFETCH(QString, source);
        QFETCH(QString, target);
        PanelHarness harness;
        harness.panel->setFont(QFont(u"DejaVu Sans"_qs, 10)); // a wide one
        harness.show();
        harness.controller->setSourceLocaleIdentifier(source);
        harness.controller->setTargetLanguageIdentifier(target);
        QCoreApplication::processEvents();
        for (const auto &name : {u"sourcePicker"_qs, u"targetPicker"_qs}) {
            const auto &picker = harness.find<Picker>(name);
            QVERIFY2(picker.width() >= picker.fullWidth(), qPrintable(picker.currentText()));
        }
    }

    void andSoTheyAreWithMarks() {
        PanelHarness harness;
        harness.panel->setFont(QFont(u"DejaVu Sans"_qs, 10)); // a wide one
        harness.show();
        harness.controller->setTargetLanguageIdentifier(u"ru"_qs);
        const Picker::Mark arriving{u"arrow.triangle.2.circlepath.circle"_qs, 42, u"On its way, 42 %"_qs};
        harness.panel->setLanguageMarks({{u"en-US"_qs, arriving}}, {{u"ru"_qs, arriving}});
        QCoreApplication::processEvents();
        for (const auto &name : {u"sourcePicker"_qs, u"targetPicker"_qs}) {
            const auto &picker = harness.find<Picker>(name);
            QVERIFY2(picker.width() >= picker.fullWidth(), qPrintable(picker.currentText()));
        }
        for (const auto *mark : harness.panel->findChildren<PickerMark *>())
            QVERIFY(mark->isVisible() && mark->width() >= mark->sizeHint().width());
    }

    /// A part of a pixel too little, and the name is cut.
    void theFullWidthHasRoomForEveryPartOfAPixel() {
        PanelHarness harness;
        harness.show();
        auto &picker = harness.find<Picker>(u"sourcePicker"_qs);
        const Picker empty(u"Empty"_qs, {});
        for (double size = 8; size < 13; size += 0.1) {
            QFont font(u"DejaVu Sans"_qs);
            font.setPointSizeF(size);
            font.setHintingPreference(QFont::PreferNoHinting);
            picker.setFont(font);
            const int room = picker.fullWidth() - empty.fullWidth();
            QCOMPARE(picker.fontMetrics().elidedText(picker.currentText(), Qt::ElideRight, room),
                     picker.currentText());
        }
    }

    void twoLongNamesShareTheWidthAndAreToldInFull() {
        PanelHarness harness;
        harness.panel->setFont(QFont(u"DejaVu Sans"_qs, 13));
        harness.show();
        harness.controller->setSourceLocaleIdentifier(u"en-GB"_qs);
        harness.controller->setTargetLanguageIdentifier(u"id"_qs);
        QCoreApplication::processEvents();
        auto &source = harness.find<Picker>(u"sourcePicker"_qs);
        const auto &target = harness.find<Picker>(u"targetPicker"_qs);
        QVERIFY(source.width() + target.width() < source.fullWidth() + target.fullWidth());
        QVERIFY2(std::abs(source.width() - target.width()) <= 1 || target.width() >= target.fullWidth(),
                 qPrintable(QString::number(target.width())));
        QVERIFY(toolTipOf(source).contains(u"English (United Kingdom)"_qs));
    }

    void scrollingOverAPickerPicksNothing() {
        PanelHarness harness;
        harness.show();
        auto &picker = harness.find<Picker>(u"targetPicker"_qs);
        picker.setFocus();
        const QString before = harness.controller->targetLanguageIdentifier();
        QWheelEvent scroll({5, 5}, picker.mapToGlobal(QPointF(5, 5)), {}, {0, -120}, Qt::NoButton,
                           Qt::NoModifier, Qt::NoScrollPhase, false);
        QApplication::sendEvent(&picker, &scroll);
        QCOMPARE(harness.controller->targetLanguageIdentifier(), before);
    }

    void aRedrawNeverWritesASetting() {
        PanelHarness harness;
        harness.platform.log.clear();
        harness.controller->setStatusText(u"redraw"_qs);
        QCOMPARE(harness.platform.log.calls(), QStringList());
    }

    void settingsChangedElsewhereShowInThePickers() {
        PanelHarness harness;
        harness.controller->setTargetLanguageIdentifier(u"es"_qs);
        harness.platform.log.clear();
        harness.controller->swapLanguages();
        QCOMPARE(harness.find<Picker>(u"sourcePicker"_qs).currentText(), u"🇪🇸 Spanish (Spain)"_qs);
        QCOMPARE(harness.find<Picker>(u"targetPicker"_qs).currentText(), u"🇺🇸 English"_qs);
        QCOMPARE(harness.platform.log.calls().filter(u"sourceLocaleIdentifier"_qs).size(), 1);
    }

    void anUnsupportedPairSwitchesTheEnginePicker() {
        PanelHarness harness;
        pick(harness.find<Picker>(u"targetPicker"_qs), u"🇰🇿 Kazakh"_qs);
        QCOMPARE(harness.find<Picker>(u"enginePicker"_qs).currentText(), u"OpenAI Natural"_qs);
        QCOMPARE(harness.find<LimitedLabel>(u"statusText"_qs).text(), u"Kazakh uses OpenAI Natural."_qs);
    }

    void anUnknownEngineReadsAsTheOnDeviceOne() {
        PanelHarness harness([](FakePlatform &platform) {
            platform.defaults.setString(u"something"_qs, u"translationEngineIdentifier"_qs);
        });
        QCOMPARE(harness.find<Picker>(u"enginePicker"_qs).currentText(), u"Apple Local"_qs);
        QCOMPARE(harness.controller->translationEngineIdentifier(), u"something"_qs);
    }

    // The buttons.

    void theButtonsHaveTheirHelpTexts_data() {
        QTest::addColumn<QString>("button");
        QTest::addColumn<QString>("symbol");
        QTest::addColumn<QString>("help");
        const auto row = [](const char *button, const char *symbol, const char *help) {
            QTest::newRow(button) << QString::fromLatin1(button) << QString::fromLatin1(symbol)
                                  << QString::fromLatin1(help);
        };
        row("resetHotKeyButton", "arrow.counterclockwise", "Reset hotkey");
        row("quitButton", "power", "Quit");
        row("swapButton", "arrow.left.arrow.right", "Swap languages");
        row("prepareButton", "arrow.down.circle", "Prepare translation models");
        row("pasteButton", "doc.on.clipboard", "Paste last translation");
    }

    void theButtonsHaveTheirHelpTexts() {
        QFETCH(QString, button);
        PanelHarness harness;
        QTEST(harness.find<PanelButton>(button).symbol(), "symbol");
        QTEST(harness.find<PanelButton>(button).toolTip(), "help");
    }

    void theMainButtonTakesTheWidthLeftOver() {
        PanelHarness harness;
        harness.show();
        const int others = harness.find<QWidget>(u"prepareButton"_qs).width() +
                           harness.find<QWidget>(u"pasteButton"_qs).width() + 2 * 8;
        QCOMPARE(harness.find<QWidget>(u"mainButton"_qs).width(), 380 - 2 * 18 - others);
    }

    void theMainButtonStartsAndStops() {
        PanelHarness harness;
        auto &button = harness.find<PanelButton>(u"mainButton"_qs);
        button.click();
        harness.platform.run();
        QVERIFY(harness.controller->isRecording());
        button.click();
        QVERIFY(!harness.controller->isRecording());
        QVERIFY(harness.controller->isProcessing());
    }

    void thePrepareButtonPreparesModels() {
        PanelHarness harness;
        harness.controller->setTargetLanguageIdentifier(u"es"_qs);
        harness.find<PanelButton>(u"prepareButton"_qs).click();
        QCOMPARE(harness.find<LimitedLabel>(u"statusText"_qs).text(), u"Preparing translation models..."_qs);
        harness.platform.run();
        QCOMPARE(harness.find<LimitedLabel>(u"statusText"_qs).text(), u"Translation models are ready."_qs);
    }

    void thePasteButtonPastesAgain() {
        PanelHarness harness;
        harness.controller->setTargetLanguageIdentifier(u"en"_qs);
        harness.dictate(u"good morning"_qs);
        QCOMPARE(harness.platform.keystrokesFake.pasteCount(), 1);
        harness.platform.log.clear();
        harness.find<PanelButton>(u"pasteButton"_qs).click();
        harness.platform.queue.advance(std::chrono::seconds(2));
        QVERIFY(harness.platform.log.calls().contains(u"pasteboard.write good morning"_qs));
        QCOMPARE(harness.platform.keystrokesFake.pasteCount(), 2);
        QCOMPARE(harness.controller->statusText(), u"Inserted translation."_qs);
    }

    void theSwapButtonSwaps() {
        PanelHarness harness;
        harness.controller->setTargetLanguageIdentifier(u"es"_qs);
        harness.find<PanelButton>(u"swapButton"_qs).click();
        QCOMPARE(harness.controller->sourceLocaleIdentifier(), u"es-ES"_qs);
        QCOMPARE(harness.controller->statusText(), u"Language pair updated."_qs);
    }

    void theQuitButtonAsksTheShellToQuit() {
        PanelHarness harness;
        QSignalSpy quitting(harness.panel.get(), &ContentView::quitRequested);
        harness.find<PanelButton>(u"quitButton"_qs).click();
        QCOMPARE(quitting.count(), 1);
    }

    // The texts.

    void theFooterNamesThePair() {
        PanelHarness harness;
        harness.controller->setTargetLanguageIdentifier(u"es"_qs);
        QCOMPARE(harness.find<LimitedLabel>(u"footerText"_qs).text(),
                 u"🇺🇸 English (United States) -> 🇪🇸 Spanish"_qs);
    }

    void interimWordsShowAtOnce() {
        PanelHarness harness;
        harness.startRecording();
        harness.say(u"good"_qs);
        QCOMPARE(harness.find<TextPane>(u"transcriptText"_qs).toPlainText(), u"good"_qs);
        harness.say(u"could morning"_qs);
        QCOMPARE(harness.find<TextPane>(u"transcriptText"_qs).toPlainText(), u"could morning"_qs);
        QCOMPARE(harness.find<LimitedLabel>(u"statusText"_qs).text(), u"Listening..."_qs);
    }

    void theTranslationShows() {
        PanelHarness harness;
        harness.controller->setTargetLanguageIdentifier(u"es"_qs);
        harness.dictate(u"good morning"_qs);
        QCOMPARE(harness.find<TextPane>(u"translationText"_qs).toPlainText(), u"<good morning>"_qs);
    }

    void longTextsDoNotMoveTheLayout() {
        PanelHarness harness;
        harness.controller->setTargetLanguageIdentifier(u"es"_qs);
        harness.show();
        QCoreApplication::processEvents();
        const auto places = [&harness] {
            QList<QRect> places{harness.panel->geometry()};
            for (const auto *widget : harness.panel->findChildren<QWidget *>()) {
                if (!widget->objectName().isEmpty() && !widget->objectName().startsWith(u"qt_") &&
                    widget->objectName() != u"hotKeyText"_qs)
                    places += QRect(widget->mapTo(harness.panel.get(), QPoint()), widget->size());
            }
            return places;
        };
        const auto before = places();
        harness.dictate(u"many words in a row "_qs.repeated(200));
        harness.controller->setStatusText(u"a status that is much too long to be shown "_qs.repeated(9));
        QCoreApplication::processEvents();
        QCOMPARE(places(), before);
        QVERIFY(harness.find<TextPane>(u"transcriptText"_qs).verticalScrollBar()->maximum() > 0);
    }

    void eachTextIs82PixelsHighAndTheStatusAtLeast28() {
        PanelHarness harness;
        harness.show();
        QCOMPARE(harness.find<QWidget>(u"transcriptText"_qs).parentWidget()->height(), 82);
        QCOMPARE(harness.find<QWidget>(u"translationText"_qs).parentWidget()->height(), 82);
        QVERIFY(harness.find<QWidget>(u"statusText"_qs).height() >= 28);
        QCOMPARE(harness.find<QWidget>(u"statusDot"_qs).size(), QSize(8, 8));
    }

    void theChildrenStandInTheirOrder_data() {
        QTest::addColumn<QString>("engine");
        QTest::newRow("on the device") << local;
        QTest::newRow("hosted, with its two fields") << hosted;
    }
    void theChildrenStandInTheirOrder() {
        QFETCH(QString, engine);
        PanelHarness harness;
        harness.controller->setTargetLanguageIdentifier(u"es"_qs);
        harness.controller->setTranslationEngineIdentifier(engine);
        harness.show();
        QTRY_VERIFY(harness.panel->height() == harness.panel->sizeHint().height());
        const QString divider; // has no name
        const QStringList names{u"headerIcon"_qs,     u"sourcePicker"_qs,    u"enginePicker"_qs,
                                u"mainButton"_qs,     u"statusText"_qs,      divider,
                                u"transcriptText"_qs, u"translationText"_qs, u"footerText"_qs};
        const auto places = placesOfWhatShows(*harness.panel);
        QCOMPARE(places.size(), names.size());
        int bottom = 18 - 16;
        for (int i = 0; i < places.size(); ++i) {
            QVERIFY2(places[i].top() - bottom == 16,
                     qPrintable(u"%1 px above child %2"_qs.arg(places[i].top() - bottom).arg(i)));
            if (names[i] == divider)
                QCOMPARE(places[i].height(), 1);
            else
                QVERIFY2(places[i].contains(placeOf(harness.find<QWidget>(names[i]), *harness.panel)),
                         qPrintable(names[i]));
            bottom = places[i].top() + places[i].height();
        }
        QCOMPARE(harness.panel->height() - bottom, 18);
    }

    void theChildrenStand16PixelsApart_data() {
        QTest::addColumn<QString>("engine");
        QTest::newRow("without the backend's fields") << local;
        QTest::newRow("with the backend's fields") << hosted;
    }

    void theChildrenStand16PixelsApart() {
        QFETCH(QString, engine);
        PanelHarness harness;
        harness.controller->setTargetLanguageIdentifier(u"es"_qs);
        harness.show();
        for (const auto &each : {hosted, local, engine})
            harness.controller->setTranslationEngineIdentifier(each);
        const auto inPanel = [&harness](const QString &name) {
            const auto &widget = harness.find<QWidget>(name);
            return QRect(widget.mapTo(harness.panel.get(), QPoint()), widget.size());
        };
        const auto gapAbove = [](const QRect &below, const QRect &above) {
            return below.top() - above.bottom() - 1;
        };
        const auto endOfEngine = [&] {
            return engine == hosted ? frameOf(harness, u"tokenField"_qs) : inPanel(u"enginePicker"_qs);
        };
        QTRY_COMPARE(gapAbove(inPanel(u"mainButton"_qs), endOfEngine()), 16);
        QCOMPARE(gapAbove(inPanel(u"statusText"_qs), inPanel(u"mainButton"_qs)), 16);
        QCOMPARE(gapAbove(inPanel(u"footerText"_qs), frameOf(harness, u"translationText"_qs)), 16);
    }

    // A redraw in the middle of an edit.

    void aRedrawKeepsTheCursorAndTheSelectionOfAField() {
        PanelHarness harness;
        harness.useHostedEngine();
        harness.show();
        auto &endpoint = harness.find<QLineEdit>(u"endpointField"_qs);
        endpoint.setFocus();
        endpoint.setSelection(3, 4);
        harness.controller->setStatusText(u"redraw"_qs);
        QCOMPARE(endpoint.selectionStart(), 3);
        QCOMPARE(endpoint.selectionLength(), 4);
        QTest::keyClick(&endpoint, Qt::Key_X);
        QCOMPARE(endpoint.cursorPosition(), 4);
    }

    void aRedrawKeepsAComposition() {
        PanelHarness harness;
        harness.useHostedEngine();
        harness.show();
        auto &endpoint = harness.find<QLineEdit>(u"endpointField"_qs);
        harness.controller->setOpenAIEndpointString({});
        endpoint.setFocus();
        const auto cursorRect = [&endpoint] {
            return endpoint.inputMethodQuery(Qt::ImCursorRectangle).toRect();
        };
        const QRect empty = cursorRect();
        QInputMethodEvent composing(u"にほ"_qs, {{QInputMethodEvent::Cursor, 2, 1, {}}});
        QApplication::sendEvent(&endpoint, &composing);
        const QRect composed = cursorRect(); // behind what is being composed
        QVERIFY(composed.x() > empty.x());
        harness.controller->setStatusText(u"redraw"_qs);
        QCOMPARE(cursorRect(), composed);
        QInputMethodEvent committing;
        committing.setCommitString(u"日本"_qs);
        QApplication::sendEvent(&endpoint, &committing);
        QCOMPARE(harness.controller->openAIEndpointString(), u"日本"_qs);
    }

    void aRedrawKeepsWhatIsSelectedInATranscript() {
        PanelHarness harness;
        harness.startRecording();
        harness.say(u"good morning everyone"_qs);
        auto &transcript = harness.find<TextPane>(u"transcriptText"_qs);
        QTextCursor cursor = transcript.textCursor();
        cursor.setPosition(5);
        cursor.setPosition(12, QTextCursor::KeepAnchor);
        transcript.setTextCursor(cursor);
        harness.say(u"good morning everyone here"_qs);
        QCOMPARE(transcript.textCursor().selectedText(), u"morning"_qs);
    }

    void thePanelMayGoWhileTheControllerStays() {
        PanelHarness harness;
        harness.controller->startHotKeyRecording();
        harness.panel.reset();
        harness.controller->setStatusText(u"later"_qs);
        harness.platform.run();
        QCOMPARE(harness.platform.appearanceFake.observerCount(), 0);
    }

    void aSecondPanelShowsTheSameState() {
        PanelHarness harness;
        harness.startRecording();
        harness.say(u"good morning"_qs);
        ContentView again(*harness.controller);
        QCOMPARE(again.findChild<PanelButton *>(u"mainButton"_qs)->text(), u"Stop"_qs);
        QCOMPARE(again.findChild<TextPane *>(u"transcriptText"_qs)->toPlainText(), u"good morning"_qs);
    }

private:
    static QRect placeOf(const QWidget &widget, const QWidget &panel) {
        return {widget.mapTo(&panel, QPoint()), widget.size()};
    }
    /// Without what is hidden at present.
    static QRect placeOfWhatShows(QLayoutItem &item, const QWidget &panel) {
        QRect place;
        if (item.widget() && item.widget()->isVisible())
            place = placeOf(*item.widget(), panel);
        const auto *layout = item.layout();
        for (int i = 0; layout && i < layout->count(); ++i)
            place |= placeOfWhatShows(*layout->itemAt(i), panel);
        return place;
    }
    static QList<QRect> placesOfWhatShows(const QWidget &panel) {
        QList<QRect> places;
        for (int i = 0; i < panel.layout()->count(); ++i) {
            if (QLayoutItem &child = *panel.layout()->itemAt(i); !child.spacerItem())
                places += placeOfWhatShows(child, panel);
        }
        return places;
    }

    static constexpr State states[] = {
        {"idle, nothing translated", false, false, false},
        {"idle, something translated", false, false, true},
        {"recording", true, false, false},
        {"processing, nothing translated", false, true, false},
        {"processing, something translated", false, true, true},
    };

    static QRect frameOf(const PanelHarness &harness, const QString &content) {
        const auto &frame = *harness.find<QWidget>(content).parentWidget();
        return {frame.mapTo(harness.panel.get(), QPoint()), frame.size()};
    }

    static void pressInFocus(Qt::Key key, quint32 keyCode, Qt::KeyboardModifiers modifiers) {
        QKeyEvent event(QEvent::KeyPress, key, modifiers, FakeKeyPositions::scanCode(keyCode), 0, 0);
        QApplication::sendEvent(QApplication::focusWidget(), &event);
    }
};

QTEST_MAIN(ContentViewTest)
#include "ContentViewTest.moc"
