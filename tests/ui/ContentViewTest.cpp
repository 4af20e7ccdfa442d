#include "controller/HostedEndpoint.h"
#include "ui/LimitedLabel.h"
#include "ui/PanelButton.h"
#include "ui/PanelHarness.h"
#include "ui/PanelPalette.h"
#include "ui/PickerMark.h"
#include "ui/SymbolView.h"
#include "ui/TextLink.h"
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

using namespace Qt::StringLiterals;
using namespace quillora;
using namespace quillora::test;
using namespace std::chrono_literals;

namespace {

const auto hosted = u"openAINatural"_s;
const auto local = u"appleLocal"_s;

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
        const QString nothing = u"overwritten"_s;
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
        harness.dictate(u"good morning"_s);
    if (state.isRecording)
        harness.startRecording(); // which clears the translation
    if (state.isProcessing && state.hasTranslation)
        harness.startPreparingModels();
    else if (state.isProcessing)
        harness.startProcessing();
}

/// The pair needs the hosted engine, nobody has entered a backend, and the user has just read what to do.
void failAtTheDefaultEndpoint(PanelHarness &harness) {
    harness.controller->setTargetLanguageIdentifier(u"kk"_s);
    harness.platform.http.transportError = u"Connection refused."_s;
    harness.show();
    harness.dictate(u"hello"_s);
}

} // namespace

class ContentViewTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    // What is recorded, shown at a glance.

    void whileRecordingTheHeaderIconIsTheRedMicrophone() {
        PanelHarness harness;
        harness.startRecording();
        const auto &icon = harness.find<SymbolView>(u"headerIcon"_s);
        QCOMPARE(icon.symbol(), u"mic.circle.fill"_s);
        QCOMPARE(icon.color(), PanelPalette::recording(harness.panel->palette()));
    }

    void whileRecordingTheMainButtonReadsStop() {
        PanelHarness harness;
        harness.startRecording();
        const auto &button = harness.find<PanelButton>(u"mainButton"_s);
        QCOMPARE(button.text(), u"Stop"_s);
        QCOMPARE(button.symbol(), u"stop.fill"_s);
        QCOMPARE(button.surfaceColor(), PanelPalette::recordingSurface());
    }

    void whileRecordingTheStatusDotIsRed() {
        PanelHarness harness;
        harness.startRecording();
        QCOMPARE(harness.find<SymbolView>(u"statusDot"_s).color(),
                 PanelPalette::recording(harness.panel->palette()));
    }

    void whileIdleTheHeaderIconIsTheGlobeInTheAccentColour() {
        PanelHarness harness;
        const auto &icon = harness.find<SymbolView>(u"headerIcon"_s);
        QCOMPARE(icon.symbol(), u"globe"_s);
        QCOMPARE(icon.color(), PanelPalette::accentText(harness.panel->palette()));
        QCOMPARE(harness.find<PanelButton>(u"mainButton"_s).text(), u"Start"_s);
        QCOMPARE(harness.find<PanelButton>(u"mainButton"_s).symbol(), u"mic.fill"_s);
        QCOMPARE(harness.find<SymbolView>(u"statusDot"_s).color(),
                 PanelPalette::idle(harness.panel->palette()));
    }

    void whileProcessingTheStatusDotIsOrangeAndTheIconTheGlobe() {
        PanelHarness harness;
        harness.startProcessing();
        QCOMPARE(harness.find<SymbolView>(u"statusDot"_s).color(),
                 PanelPalette::processing(harness.panel->palette()));
        QCOMPARE(harness.find<SymbolView>(u"headerIcon"_s).symbol(), u"globe"_s);
        QCOMPARE(harness.find<PanelButton>(u"mainButton"_s).text(), u"Start"_s);
    }

    /// Models can be prepared while the start of a recording still waits for its permissions.
    void recordingShowsEvenWhileSomethingIsProcessed() {
        PanelHarness harness;
        harness.controller->setTargetLanguageIdentifier(u"es"_s);
        harness.platform.permissions.replies = FakeSpeechPermissions::Replies::byHand;
        harness.controller->startRecording();
        harness.startPreparingModels();
        harness.platform.permissions.speechRecognitionReplies.front()(true);
        harness.platform.run();
        harness.platform.permissions.microphoneReplies.front()(true);
        harness.platform.run();
        QVERIFY(harness.controller->isRecording());
        QVERIFY(harness.controller->isProcessing());
        QCOMPARE(harness.find<SymbolView>(u"statusDot"_s).color(),
                 PanelPalette::recording(harness.panel->palette()));
        const auto &button = harness.find<PanelButton>(u"mainButton"_s);
        QCOMPARE(button.text(), u"Stop"_s);
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
        const auto &endpoint = harness.find<QLineEdit>(u"endpointField"_s);
        const auto &token = harness.find<QLineEdit>(u"tokenField"_s);
        QVERIFY(endpoint.isVisible() && token.isVisible());
        harness.controller->setTargetLanguageIdentifier(u"es"_s);
        harness.controller->setTranslationEngineIdentifier(local);
        QVERIFY(!endpoint.isVisible() && !token.isVisible());
    }

    void switchingBackShowsTheFieldsWithTheirPreviousContents() {
        PanelHarness harness;
        harness.controller->setTargetLanguageIdentifier(u"es"_s);
        harness.useHostedEngine();
        harness.show();
        auto &endpoint = harness.find<QLineEdit>(u"endpointField"_s);
        auto &token = harness.find<QLineEdit>(u"tokenField"_s);
        endpoint.selectAll();
        QTest::keyClicks(&endpoint, u"https://example.org/v1"_s);
        QTest::keyClicks(&token, u"abc"_s);
        pick(harness.find<Picker>(u"enginePicker"_s), u"Apple Local"_s);
        QVERIFY(!endpoint.isVisible() && !token.isVisible());
        pick(harness.find<Picker>(u"enginePicker"_s), u"OpenAI Natural"_s);
        QVERIFY(endpoint.isVisible() && token.isVisible());
        QCOMPARE(endpoint.text(), u"https://example.org/v1"_s);
        QCOMPARE(token.text(), u"abc"_s);
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
        harness.controller->setOpenAIClientToken(u"secret"_s);
        harness.useHostedEngine();
        harness.show();
        auto &token = harness.find<QLineEdit>(u"tokenField"_s);
        QCOMPARE(token.echoMode(), QLineEdit::Password);
        QVERIFY(!token.displayText().contains(u"secret"_s));
        token.selectAll();
        QApplication::clipboard()->setText(u"before"_s);
        token.copy();
        QCOMPARE(QApplication::clipboard()->text(), u"before"_s);
        QCOMPARE(harness.controller->openAIClientToken(), u"secret"_s);
    }

    void anInterimWordDrawsNothingButTheTranscriptAndTheStatusLine() {
        PanelHarness harness;
        harness.show();
        harness.startRecording();
        const Overwritten overwritten(harness);
        harness.say(u"good"_s);
        QCOMPARE(overwritten.drawnAnew(), (QStringList{u"statusText"_s, u"transcriptText"_s}));
    }

    void aChangeDrawsOnlyWhatShowsIt_data() {
        using Change = std::function<void(AppController &)>;
        QTest::addColumn<Change>("change");
        QTest::addColumn<QStringList>("drawn");
        const QStringList languages{u"footerText"_s, u"sourcePicker"_s, u"targetPicker"_s};
        const QStringList hotKey{u"hotKeyText"_s, u"recordHotKeyButton"_s};
        QTest::newRow("status") << Change([](auto &c) { c.setStatusText(u"Hello."_s); })
                                << QStringList{u"statusText"_s};
        QTest::newRow("source") << Change([](auto &c) { c.setSourceLocaleIdentifier(u"es-ES"_s); })
                                << languages;
        QTest::newRow("target") << Change([](auto &c) { c.setTargetLanguageIdentifier(u"fr"_s); })
                                << languages;
        QTest::newRow("engine") << Change([](auto &c) { c.setTranslationEngineIdentifier(hosted); })
                                << QStringList{u"enginePicker"_s};
        QTest::newRow("endpoint") << Change([](auto &c) {
            c.setOpenAIEndpointString(u"https://a.example"_s);
        }) << QStringList{u"endpointField"_s};
        QTest::newRow("token") << Change([](auto &c) { c.setOpenAIClientToken(u"t"_s); })
                               << QStringList{u"tokenField"_s};
        QTest::newRow("hotkey capture")
            << Change([](auto &c) { c.startHotKeyRecording(); }) << hotKey + QStringList{u"statusText"_s};
        QTest::newRow("start") << Change([](auto &c) { c.startRecording(); })
                               << QStringList{u"statusText"_s, u"transcriptText"_s, u"translationText"_s};
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
                 (QStringList{u"headerIcon"_s, u"mainButton"_s, u"statusDot"_s, u"statusText"_s}));
    }

    void onlyInTheActivePanelIsTheUserAskedForTheKeychain() {
        PanelHarness harness([](FakePlatform &platform) { platform.keychainFake.isBroken = true; });
        harness.useHostedEngine();
        harness.show();
        QWidget elsewhere;
        elsewhere.show();
        QTest::keyClicks(&harness.find<QLineEdit>(u"tokenField"_s), u"t"_s);
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
        QTest::keyClicks(&harness.find<QLineEdit>(u"tokenField"_s), u"t"_s);
        harness.panel->hide();
        harness.show();
        harness.platform.queue.advance(1s);
        QVERIFY(!harness.platform.keychainAvailabilityFake.isAsking());
    }

    void whatToDoWithoutABackendFitsTheStatusLine() {
        PanelHarness harness;
        harness.show();
        const auto &status = harness.find<LimitedLabel>(u"statusText"_s);
        const QFontMetrics metrics = status.fontMetrics();
        const QString text = u"Translation failed: "_s + adviceWithoutDefaultEndpoint() + u" …"_s;
        const QRect room(0, 0, status.width(), 10 * metrics.lineSpacing());
        const int height = metrics.boundingRect(room, Qt::TextWordWrap, text).height();
        QVERIFY2(height <= 2 * metrics.lineSpacing(), qPrintable(QString::number(height)));
    }

    void withoutABackendTheUrlIsEnteredWhereTheAdviceIsRead() {
        PanelHarness harness;
        failAtTheDefaultEndpoint(harness);
        auto &endpoint = harness.find<QLineEdit>(u"endpointField"_s);
        QVERIFY(endpoint.isVisible());
        QVERIFY(endpoint.isEnabled());
        QCOMPARE(endpoint.toolTip(), u"Backend URL"_s);
        endpoint.selectAll();
        QTest::keyClicks(&endpoint, u"https://my.example/t"_s);
        harness.platform.http.transportError.reset();
        harness.dictate(u"hello"_s);
        QCOMPARE(harness.controller->statusText(), u"Inserted translation."_s);
        QCOMPARE(harness.platform.http.requests.back().url, QUrl(u"https://my.example/t"_s));
    }

    void withoutABackendTheOtherAdviceLeadsToATranslationOnThisComputer() {
        PanelHarness harness;
        failAtTheDefaultEndpoint(harness);
        QVERIFY(
            harness.controller->statusText().contains(u"choose languages that Apple Local can translate."_s));
        pick(harness.find<Picker>(u"targetPicker"_s), u"🇪🇸 Spanish"_s);
        pick(harness.find<Picker>(u"enginePicker"_s), u"Apple Local"_s);
        harness.dictate(u"hello"_s);
        QCOMPARE(harness.controller->statusText(), u"Inserted translation."_s);
        QCOMPARE(harness.controller->translatedText(), u"<hello>"_s);
        QCOMPARE(harness.platform.http.requests.size(), 1u);
    }

    void editsReachTheSettings() {
        PanelHarness harness;
        harness.useHostedEngine();
        harness.show();
        auto &endpoint = harness.find<QLineEdit>(u"endpointField"_s);
        endpoint.clear();
        QTest::keyClicks(&endpoint, u" http://x "_s);
        QTest::keyClicks(&harness.find<QLineEdit>(u"tokenField"_s), u" t "_s);
        QCOMPARE(harness.controller->openAIEndpointString(), u" http://x "_s);
        QCOMPARE(harness.controller->openAIClientToken(), u" t "_s);
    }

    // Changing the hotkey.

    void theHotKeysToolTipTellsWhatTheDesktopCanBindAKeyTo() {
        PanelHarness harness;
        QVERIFY(
            harness.find<QLabel>(u"hotKeyText"_s)
                .toolTip()
                .contains(u"dbus-send --type=method_call --dest=org.quillora.Quillora /org/quillora/Quillora "
                          "org.quillora.Quillora.Toggle"_s));
    }

    void whileAHotKeyIsRecordedItsTextTakesTheAccentColour() {
        PanelHarness harness;
        const auto &text = harness.find<LimitedLabel>(u"hotKeyText"_s);
        const QPalette &palette = harness.panel->palette();
        QCOMPARE(text.text(), u"Ctrl Option Space"_s);
        QCOMPARE(text.palette().color(QPalette::WindowText), palette.color(QPalette::PlaceholderText));
        harness.controller->startHotKeyRecording();
        QCOMPARE(text.text(), u"Press shortcut"_s);
        QCOMPARE(text.palette().color(QPalette::WindowText), PanelPalette::accentText(palette));
    }

    void whileAHotKeyIsRecordedTheRecordButtonIsTheCancelButton() {
        PanelHarness harness;
        auto &button = harness.find<PanelButton>(u"recordHotKeyButton"_s);
        QCOMPARE(button.symbol(), u"keyboard"_s);
        QCOMPARE(button.toolTip(), u"Record hotkey"_s);
        button.click();
        QVERIFY(harness.controller->isRecordingHotKey());
        QCOMPARE(button.symbol(), u"xmark.circle"_s);
        QCOMPARE(button.toolTip(), u"Cancel hotkey recording"_s);
        button.click();
        QVERIFY(!harness.controller->isRecordingHotKey());
        QCOMPARE(button.symbol(), u"keyboard"_s);
        QCOMPARE(harness.controller->statusText(), u"Hotkey unchanged."_s);
    }

    void theResetButtonIsDisabledExactlyWhileTheHotKeyIsTheDefaultOne() {
        PanelHarness harness;
        auto &button = harness.find<PanelButton>(u"resetHotKeyButton"_s);
        QVERIFY(!button.isEnabled());
        harness.controller->setRecordedHotKey({40, AppHotKey::cmdKey});
        QVERIFY(button.isEnabled());
        button.click();
        QCOMPARE(harness.controller->hotKey(), AppHotKey::defaultValue);
        QVERIFY(!button.isEnabled());
        harness.controller->setRecordedHotKey({49, AppHotKey::defaultValue.modifiers | 1});
        QVERIFY(button.isEnabled());
    }

    void whatTheDesktopBoundInsteadIsShownInItsWords() {
        PanelHarness harness;
        platform::HotKeyOutcome outcome;
        outcome.kind = platform::HotKeyOutcome::Kind::boundElsewhere;
        outcome.desktopWords = u"Super+D"_s;
        harness.controller->noteHotKeyOutcome(AppHotKey::defaultValue, outcome);
        QCOMPARE(harness.find<LimitedLabel>(u"hotKeyText"_s).text(), u"Super+D"_s);
    }

    void aCapturedHotKeyReachesTheController() {
        PanelHarness harness;
        harness.show();
        harness.find<PanelButton>(u"recordHotKeyButton"_s).click();
        harness.platform.run();
        pressInFocus(Qt::Key_K, 40, Qt::NoModifier);
        QCOMPARE(harness.controller->statusText(), u"Use Ctrl, Option, or Cmd with another key."_s);
        QVERIFY(harness.controller->isRecordingHotKey());
        pressInFocus(Qt::Key_K, 40, Qt::MetaModifier);
        QCOMPARE(harness.controller->statusText(), u"Hotkey updated to Cmd K."_s);
        QCOMPARE(harness.find<LimitedLabel>(u"hotKeyText"_s).text(), u"Cmd K"_s);
    }

    void escapeAloneCancelsTheCapture() {
        PanelHarness harness;
        harness.show();
        QSignalSpy closing(harness.panel.get(), &ContentView::closeRequested);
        harness.controller->startHotKeyRecording();
        harness.platform.run();
        pressInFocus(Qt::Key_Escape, 53, Qt::NoModifier);
        QVERIFY(!harness.controller->isRecordingHotKey());
        QCOMPARE(harness.controller->statusText(), u"Hotkey unchanged."_s);
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
        harness.controller->setTargetLanguageIdentifier(u"es"_s);
        enter(harness, state);
        QCOMPARE(harness.controller->isRecording(), state.isRecording);
        QCOMPARE(harness.controller->isProcessing(), state.isProcessing);
        QCOMPARE(!harness.controller->translatedText().isEmpty(), state.hasTranslation);

        const auto isEnabled = [&harness](const QString &name) {
            return harness.find<QWidget>(name).isEnabled();
        };
        const bool isBusy = state.isRecording || state.isProcessing;
        QCOMPARE(isEnabled(u"mainButton"_s), state.isRecording || !state.isProcessing);
        QCOMPARE(isEnabled(u"prepareButton"_s), !isBusy);
        QCOMPARE(isEnabled(u"pasteButton"_s), state.hasTranslation && !isBusy);
        QCOMPARE(isEnabled(u"endpointField"_s), !isBusy);
        QCOMPARE(isEnabled(u"tokenField"_s), !isBusy);
        for (const auto &name :
             {u"sourcePicker"_s, u"targetPicker"_s, u"enginePicker"_s, u"swapButton"_s,
              u"recordHotKeyButton"_s, u"quitButton"_s, u"transcriptText"_s, u"translationText"_s})
            QVERIFY2(isEnabled(name), qPrintable(name));
    }

    void anEmptyTranslationDisablesThePasteButton() {
        PanelHarness harness;
        QVERIFY(!harness.find<QWidget>(u"pasteButton"_s).isEnabled());
    }

    void theSwapButtonNeedsAPairThatCanBeSwapped() {
        PanelHarness harness;
        const auto &button = harness.find<PanelButton>(u"swapButton"_s);
        harness.controller->setTargetLanguageIdentifier(u"es"_s);
        QVERIFY(button.isEnabled());
        harness.controller->setTargetLanguageIdentifier(u"th"_s); // which nobody can dictate here
        QVERIFY(!button.isEnabled());
    }

    // The pickers.

    void thePickersOfferEveryOption() {
        PanelHarness harness;
        QStringList sources;
        for (const auto &option : harness.controller->spokenLanguageOptions())
            sources += option.flag + u' ' + option.name;
        QCOMPARE(rowsOf(harness.find<Picker>(u"sourcePicker"_s)), sources);
        QStringList targets;
        for (const auto &option : harness.controller->targetLanguageOptions())
            targets += option.flag + u' ' + option.name;
        QCOMPARE(rowsOf(harness.find<Picker>(u"targetPicker"_s)), targets);
        QCOMPARE(rowsOf(harness.find<Picker>(u"enginePicker"_s)),
                 (QStringList{u"Apple Local"_s, u"OpenAI Natural"_s}));
        QVERIFY(sources.contains(u"🇺🇸 English (United States)"_s));
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
        QCOMPARE(titles, (QStringList{u"Dictate"_s, u"Translate to"_s, u"Engine"_s}));
    }

    void pickingChangesTheSetting() {
        PanelHarness harness;
        pick(harness.find<Picker>(u"sourcePicker"_s), u"🇪🇸 Spanish (Spain)"_s);
        QCOMPARE(harness.controller->sourceLocaleIdentifier(), u"es-ES"_s);
        pick(harness.find<Picker>(u"targetPicker"_s), u"🇩🇪 German"_s);
        QCOMPARE(harness.controller->targetLanguageIdentifier(), u"de"_s);
        pick(harness.find<Picker>(u"enginePicker"_s), u"OpenAI Natural"_s);
        QCOMPARE(harness.controller->translationEngineIdentifier(), hosted);
    }

    void theNamesOfTheLanguagesAreReadable_data() {
        QTest::addColumn<QString>("source");
        QTest::addColumn<QString>("target");
        QTest::newRow("long and short") << u"en-US"_s << u"ru"_s;
        QTest::newRow("long and shorter") << u"en-US"_s << u"es"_s;
        QTest::newRow("short and long") << u"de-DE"_s << u"zh"_s;
        QTest::newRow("both short") << u"de-DE"_s << u"nl"_s;
    }

    void theNamesOfTheLanguagesAreReadable() {
        QFETCH(QString, source);
        QFETCH(QString, target);
        PanelHarness harness;
        harness.panel->setFont(QFont(u"DejaVu Sans"_s, 10)); // a wide one
        harness.show();
        harness.controller->setSourceLocaleIdentifier(source);
        harness.controller->setTargetLanguageIdentifier(target);
        QCoreApplication::processEvents();
        for (const auto &name : {u"sourcePicker"_s, u"targetPicker"_s}) {
            const auto &picker = harness.find<Picker>(name);
            QVERIFY2(picker.width() >= picker.fullWidth(), qPrintable(picker.currentText()));
        }
    }

    void andSoTheyAreWithMarks() {
        PanelHarness harness;
        harness.panel->setFont(QFont(u"DejaVu Sans"_s, 10)); // a wide one
        harness.show();
        harness.controller->setTargetLanguageIdentifier(u"ru"_s);
        const Picker::Mark arriving{u"arrow.triangle.2.circlepath.circle"_s, 42, u"On its way, 42 %"_s};
        harness.panel->setLanguageMarks({{u"en-US"_s, arriving}}, {{u"ru"_s, arriving}});
        QCoreApplication::processEvents();
        for (const auto &name : {u"sourcePicker"_s, u"targetPicker"_s}) {
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
        auto &picker = harness.find<Picker>(u"sourcePicker"_s);
        const Picker empty(u"Empty"_s, {});
        for (double size = 8; size < 13; size += 0.1) {
            QFont font(u"DejaVu Sans"_s);
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
        harness.panel->setFont(QFont(u"DejaVu Sans"_s, 13));
        harness.show();
        harness.controller->setSourceLocaleIdentifier(u"en-GB"_s);
        harness.controller->setTargetLanguageIdentifier(u"id"_s);
        QCoreApplication::processEvents();
        auto &source = harness.find<Picker>(u"sourcePicker"_s);
        const auto &target = harness.find<Picker>(u"targetPicker"_s);
        QVERIFY(source.width() + target.width() < source.fullWidth() + target.fullWidth());
        QVERIFY2(std::abs(source.width() - target.width()) <= 1 || target.width() >= target.fullWidth(),
                 qPrintable(QString::number(target.width())));
        QVERIFY(toolTipOf(source).contains(u"English (United Kingdom)"_s));
    }

    void scrollingOverAPickerPicksNothing() {
        PanelHarness harness;
        harness.show();
        auto &picker = harness.find<Picker>(u"targetPicker"_s);
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
        harness.controller->setStatusText(u"redraw"_s);
        QCOMPARE(harness.platform.log.calls(), QStringList());
    }

    void settingsChangedElsewhereShowInThePickers() {
        PanelHarness harness;
        harness.controller->setTargetLanguageIdentifier(u"es"_s);
        harness.platform.log.clear();
        harness.controller->swapLanguages();
        QCOMPARE(harness.find<Picker>(u"sourcePicker"_s).currentText(), u"🇪🇸 Spanish (Spain)"_s);
        QCOMPARE(harness.find<Picker>(u"targetPicker"_s).currentText(), u"🇺🇸 English"_s);
        QCOMPARE(harness.platform.log.calls().filter(u"sourceLocaleIdentifier"_s).size(), 1);
    }

    void anUnsupportedPairSwitchesTheEnginePicker() {
        PanelHarness harness;
        pick(harness.find<Picker>(u"targetPicker"_s), u"🇰🇿 Kazakh"_s);
        QCOMPARE(harness.find<Picker>(u"enginePicker"_s).currentText(), u"OpenAI Natural"_s);
        QCOMPARE(harness.find<LimitedLabel>(u"statusText"_s).text(), u"Kazakh uses OpenAI Natural."_s);
    }

    void anUnknownEngineReadsAsTheOnDeviceOne() {
        PanelHarness harness([](FakePlatform &platform) {
            platform.defaults.setString(u"something"_s, u"translationEngineIdentifier"_s);
        });
        QCOMPARE(harness.find<Picker>(u"enginePicker"_s).currentText(), u"Apple Local"_s);
        QCOMPARE(harness.controller->translationEngineIdentifier(), u"something"_s);
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
        const int others = harness.find<QWidget>(u"prepareButton"_s).width() +
                           harness.find<QWidget>(u"pasteButton"_s).width() + 2 * 8;
        QCOMPARE(harness.find<QWidget>(u"mainButton"_s).width(), 380 - 2 * 18 - others);
    }

    void theMainButtonStartsAndStops() {
        PanelHarness harness;
        auto &button = harness.find<PanelButton>(u"mainButton"_s);
        button.click();
        harness.platform.run();
        QVERIFY(harness.controller->isRecording());
        button.click();
        QVERIFY(!harness.controller->isRecording());
        QVERIFY(harness.controller->isProcessing());
    }

    void aLinkBesideTheStatusMovesNothing() {
        const QFont large(u"DejaVu Sans"_s, 13); // its lines take more than the room that there is at least
        PanelHarness harness;
        harness.panel->setFont(large);
        harness.show();
        const int height = harness.panel->height();
        harness.panel->setStatusLink(ContentView::StatusLink::models);
        QCoreApplication::processEvents();
        QCOMPARE(harness.panel->height(), height);
        PanelHarness early;
        early.panel->setFont(large);
        early.panel->setStatusLink(ContentView::StatusLink::models);
        early.show();
        QCOMPARE(early.panel->height(), height);
    }

    void theStatusLinkAsksForTheModels() {
        PanelHarness harness;
        const QSignalSpy spy(harness.panel.get(), &ContentView::modelsRequested);
        harness.panel->setStatusLink(ContentView::StatusLink::models);
        harness.show();
        harness.find<TextLink>(u"statusLink"_s).click();
        QCOMPARE(spy.size(), 1);
    }

    void thePrepareButtonPreparesModels() {
        PanelHarness harness;
        harness.controller->setTargetLanguageIdentifier(u"es"_s);
        harness.find<PanelButton>(u"prepareButton"_s).click();
        QCOMPARE(harness.find<LimitedLabel>(u"statusText"_s).text(), u"Preparing translation models..."_s);
        harness.platform.run();
        QCOMPARE(harness.find<LimitedLabel>(u"statusText"_s).text(), u"Translation models are ready."_s);
    }

    void thePasteButtonPastesAgain() {
        PanelHarness harness;
        harness.controller->setTargetLanguageIdentifier(u"en"_s);
        harness.dictate(u"good morning"_s);
        QCOMPARE(harness.platform.keystrokesFake.pasteCount(), 1);
        harness.platform.log.clear();
        harness.find<PanelButton>(u"pasteButton"_s).click();
        harness.platform.queue.advance(std::chrono::seconds(2));
        QVERIFY(harness.platform.log.calls().contains(u"pasteboard.write good morning"_s));
        QCOMPARE(harness.platform.keystrokesFake.pasteCount(), 2);
        QCOMPARE(harness.controller->statusText(), u"Inserted translation."_s);
    }

    void theSwapButtonSwaps() {
        PanelHarness harness;
        harness.controller->setTargetLanguageIdentifier(u"es"_s);
        harness.find<PanelButton>(u"swapButton"_s).click();
        QCOMPARE(harness.controller->sourceLocaleIdentifier(), u"es-ES"_s);
        QCOMPARE(harness.controller->statusText(), u"Language pair updated."_s);
    }

    void theQuitButtonAsksTheShellToQuit() {
        PanelHarness harness;
        QSignalSpy quitting(harness.panel.get(), &ContentView::quitRequested);
        harness.find<PanelButton>(u"quitButton"_s).click();
        QCOMPARE(quitting.count(), 1);
    }

    // The texts.

    void theFooterNamesThePair() {
        PanelHarness harness;
        harness.controller->setTargetLanguageIdentifier(u"es"_s);
        QCOMPARE(harness.find<LimitedLabel>(u"footerText"_s).text(),
                 u"🇺🇸 English (United States) -> 🇪🇸 Spanish"_s);
    }

    void interimWordsShowAtOnce() {
        PanelHarness harness;
        harness.startRecording();
        harness.say(u"good"_s);
        QCOMPARE(harness.find<TextPane>(u"transcriptText"_s).toPlainText(), u"good"_s);
        harness.say(u"could morning"_s);
        QCOMPARE(harness.find<TextPane>(u"transcriptText"_s).toPlainText(), u"could morning"_s);
        QCOMPARE(harness.find<LimitedLabel>(u"statusText"_s).text(), u"Listening..."_s);
    }

    void theTranslationShows() {
        PanelHarness harness;
        harness.controller->setTargetLanguageIdentifier(u"es"_s);
        harness.dictate(u"good morning"_s);
        QCOMPARE(harness.find<TextPane>(u"translationText"_s).toPlainText(), u"<good morning>"_s);
    }

    void longTextsDoNotMoveTheLayout() {
        PanelHarness harness;
        harness.controller->setTargetLanguageIdentifier(u"es"_s);
        harness.show();
        QCoreApplication::processEvents();
        const auto places = [&harness] {
            QList<QRect> places{harness.panel->geometry()};
            for (const auto *widget : harness.panel->findChildren<QWidget *>()) {
                if (!widget->objectName().isEmpty() && !widget->objectName().startsWith(u"qt_") &&
                    widget->objectName() != u"hotKeyText"_s)
                    places += QRect(widget->mapTo(harness.panel.get(), QPoint()), widget->size());
            }
            return places;
        };
        const auto before = places();
        harness.dictate(u"many words in a row "_s.repeated(200));
        harness.controller->setStatusText(u"a status that is much too long to be shown "_s.repeated(9));
        QCoreApplication::processEvents();
        QCOMPARE(places(), before);
        QVERIFY(harness.find<TextPane>(u"transcriptText"_s).verticalScrollBar()->maximum() > 0);
    }

    void eachTextIs82PixelsHighAndTheStatusAtLeast28() {
        PanelHarness harness;
        harness.show();
        QCOMPARE(harness.find<QWidget>(u"transcriptText"_s).parentWidget()->height(), 82);
        QCOMPARE(harness.find<QWidget>(u"translationText"_s).parentWidget()->height(), 82);
        QVERIFY(harness.find<QWidget>(u"statusText"_s).height() >= 28);
        QCOMPARE(harness.find<QWidget>(u"statusDot"_s).size(), QSize(8, 8));
    }

    void theChildrenStandInTheirOrder_data() {
        QTest::addColumn<QString>("engine");
        QTest::newRow("on the device") << local;
        QTest::newRow("hosted, with its two fields") << hosted;
    }
    void theChildrenStandInTheirOrder() {
        QFETCH(QString, engine);
        PanelHarness harness;
        harness.controller->setTargetLanguageIdentifier(u"es"_s);
        harness.controller->setTranslationEngineIdentifier(engine);
        harness.show();
        QTRY_VERIFY(harness.panel->height() == harness.panel->sizeHint().height());
        const QString divider; // has no name
        const QStringList names{u"headerIcon"_s,     u"sourcePicker"_s,    u"enginePicker"_s,
                                u"mainButton"_s,     u"statusText"_s,      divider,
                                u"transcriptText"_s, u"translationText"_s, u"footerText"_s};
        const auto places = placesOfWhatShows(*harness.panel);
        QCOMPARE(places.size(), names.size());
        int bottom = 18 - 16;
        for (int i = 0; i < places.size(); ++i) {
            QVERIFY2(places[i].top() - bottom == 16,
                     qPrintable(u"%1 px above child %2"_s.arg(places[i].top() - bottom).arg(i)));
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
        harness.controller->setTargetLanguageIdentifier(u"es"_s);
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
            return engine == hosted ? frameOf(harness, u"tokenField"_s) : inPanel(u"enginePicker"_s);
        };
        QTRY_COMPARE(gapAbove(inPanel(u"mainButton"_s), endOfEngine()), 16);
        QCOMPARE(gapAbove(inPanel(u"statusText"_s), inPanel(u"mainButton"_s)), 16);
        QCOMPARE(gapAbove(inPanel(u"footerText"_s), frameOf(harness, u"translationText"_s)), 16);
    }

    // A redraw in the middle of an edit.

    void aRedrawKeepsTheCursorAndTheSelectionOfAField() {
        PanelHarness harness;
        harness.useHostedEngine();
        harness.show();
        auto &endpoint = harness.find<QLineEdit>(u"endpointField"_s);
        endpoint.setFocus();
        endpoint.setSelection(3, 4);
        harness.controller->setStatusText(u"redraw"_s);
        QCOMPARE(endpoint.selectionStart(), 3);
        QCOMPARE(endpoint.selectionLength(), 4);
        QTest::keyClick(&endpoint, Qt::Key_X);
        QCOMPARE(endpoint.cursorPosition(), 4);
    }

    void aRedrawKeepsAComposition() {
        PanelHarness harness;
        harness.useHostedEngine();
        harness.show();
        auto &endpoint = harness.find<QLineEdit>(u"endpointField"_s);
        harness.controller->setOpenAIEndpointString({});
        endpoint.setFocus();
        const auto cursorRect = [&endpoint] {
            return endpoint.inputMethodQuery(Qt::ImCursorRectangle).toRect();
        };
        const QRect empty = cursorRect();
        QInputMethodEvent composing(u"にほ"_s, {{QInputMethodEvent::Cursor, 2, 1, {}}});
        QApplication::sendEvent(&endpoint, &composing);
        const QRect composed = cursorRect(); // behind what is being composed
        QVERIFY(composed.x() > empty.x());
        harness.controller->setStatusText(u"redraw"_s);
        QCOMPARE(cursorRect(), composed);
        QInputMethodEvent committing;
        committing.setCommitString(u"日本"_s);
        QApplication::sendEvent(&endpoint, &committing);
        QCOMPARE(harness.controller->openAIEndpointString(), u"日本"_s);
    }

    void aRedrawKeepsWhatIsSelectedInATranscript() {
        PanelHarness harness;
        harness.startRecording();
        harness.say(u"good morning everyone"_s);
        auto &transcript = harness.find<TextPane>(u"transcriptText"_s);
        QTextCursor cursor = transcript.textCursor();
        cursor.setPosition(5);
        cursor.setPosition(12, QTextCursor::KeepAnchor);
        transcript.setTextCursor(cursor);
        harness.say(u"good morning everyone here"_s);
        QCOMPARE(transcript.textCursor().selectedText(), u"morning"_s);
    }

    void thePanelMayGoWhileTheControllerStays() {
        PanelHarness harness;
        harness.controller->startHotKeyRecording();
        harness.panel.reset();
        harness.controller->setStatusText(u"later"_s);
        harness.platform.run();
        QCOMPARE(harness.platform.appearanceFake.observerCount(), 0);
    }

    void aSecondPanelShowsTheSameState() {
        PanelHarness harness;
        harness.startRecording();
        harness.say(u"good morning"_s);
        ContentView again(*harness.controller);
        QCOMPARE(again.findChild<PanelButton *>(u"mainButton"_s)->text(), u"Stop"_s);
        QCOMPARE(again.findChild<TextPane *>(u"transcriptText"_s)->toPlainText(), u"good morning"_s);
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
