#include "controller/ControllerFixture.h"
#include "controller/HostedEndpoint.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QTest>

using namespace quillora;
using test::ControllerFixture;
using namespace std::chrono_literals;

namespace {

const QString attention = u"onNeedsAttention"_qs;
const QString processingOff = u"onStateChanged recording=0 processing=0"_qs;
const QString prompt = u"keystrokes.prompt"_qs;
const QString notCopied =
    u"Not copied: only the window in front may copy here. Use \"Paste last translation\"."_qs;

} // namespace

class AppControllerTranslationTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init() { m = std::make_unique<ControllerFixture>(); }
    void cleanup() { m.reset(); }

    void thePairInUseIsGotReadyAtTheStart() { QCOMPARE(takeWarmed(), QStringList{u"en>ru"_qs}); }

    void soItIsAtEachChange() {
        takeWarmed();
        c().setTargetLanguageIdentifier(u"de"_qs);
        QCOMPARE(takeWarmed(), QStringList{u"en>de"_qs});
        c().setSourceLocaleIdentifier(u"es-ES"_qs);
        QCOMPARE(takeWarmed(), QStringList{u"es>de"_qs});
        c().setTranslationEngineIdentifier(u"openAINatural"_qs);
        c().setTargetLanguageIdentifier(u"fr"_qs);
        QCOMPARE(takeWarmed(), QStringList());
        c().setTranslationEngineIdentifier(u"appleLocal"_qs);
        QCOMPARE(takeWarmed(), QStringList{u"es>fr"_qs});
    }

    void swappedLanguagesAreGotReadyTheOtherWayRound() {
        takeWarmed();
        c().swapLanguages();
        QCOMPARE(takeWarmed().last(), u"ru>en"_qs);
    }

    void thePairIsGotReadyOnceTheMicrophoneIsOpen() {
        takeWarmed();
        c().hotKeyPressed();
        QCOMPARE(takeWarmed(), QStringList());
        m->run();
        QVERIFY(c().isRecording());
        QCOMPARE(takeWarmed(), QStringList{u"en>ru"_qs});
        c().hotKeyReleased();
        m->platform.speech.deliverFinal(u"hello"_qs);
        m->run();
        QCOMPARE(takeWarmed(), QStringList());
    }

    void nothingIsGotReadyForAMicrophoneThatDoesNotOpen() {
        takeWarmed();
        m->platform.microphoneFake.startError = u"The device is in use."_qs;
        c().hotKeyPressed();
        m->run();
        QVERIFY(!c().isRecording());
        QCOMPARE(takeWarmed(), QStringList());
    }

    void nothingIsGotReadyForOneLanguageOrTheHostedEngine() {
        c().setTargetLanguageIdentifier(u"en"_qs);
        takeWarmed();
        m->dictate(u"hello"_qs);
        QCOMPARE(takeWarmed(), QStringList());
        c().setTargetLanguageIdentifier(u"kk"_qs); // which only the hosted engine translates into
        c().hotKeyPressed();
        m->run();
        QVERIFY(c().isRecording());
        QCOMPARE(takeWarmed(), QStringList());
    }

    void theSameLanguageIsInsertedUntranslated() {
        c().setTargetLanguageIdentifier(u"en"_qs);
        m->takeStatuses();
        m->dictate(u"hello"_qs);
        QCOMPARE(c().translatedText(), u"hello"_qs);
        QCOMPARE(m->takeStatuses().last(2), (QStringList{u"Same language selected; pasting transcript."_qs,
                                                         u"Inserted transcript."_qs}));
        const QStringList calls = m->takeCalls();
        QVERIFY(calls.contains(u"pasteboard.write hello"_qs));
        QVERIFY(calls.filter(u"translation"_qs).isEmpty());
        QVERIFY(!c().isProcessing());
    }

    void theSameLanguageShowsTheTextBeforeItSaysThatItIsPasted() {
        c().setTargetLanguageIdentifier(u"en"_qs);
        QStringList shown;
        test::onAnyChange(c(), [&](size_t) {
            if (c().statusText().startsWith(u"Same language"))
                shown += c().translatedText();
        });
        m->dictate(u"hello"_qs);
        QCOMPARE(shown.value(0), u"hello"_qs);
    }

    void theSameLanguageWithoutTrustIsCopied() {
        c().setTargetLanguageIdentifier(u"en"_qs);
        m->platform.keystrokesFake.isTrustGranted = false;
        m->dictate(u"hello"_qs);
        QCOMPARE(c().statusText(), u"Copied transcript. Enable Accessibility to auto-paste."_qs);
        QCOMPARE(m->platform.pasteboardFake.plainText(), u"hello"_qs);
    }

    void aTextThatTheDesktopDoesNotTakeIsSaidNotToBeCopied() {
        m->platform.keystrokesFake.isTrustGranted = false;
        m->platform.pasteboardFake.refusesWrites = true;
        c().setTargetLanguageIdentifier(u"en"_qs);
        m->takeCalls();
        m->dictate(u"hello"_qs);
        QCOMPARE(c().statusText(), notCopied);
        QVERIFY(m->takeCalls().contains(u"onNeedsAttention"_qs));
        QCOMPARE(c().translatedText(), u"hello"_qs);
    }

    void aTextThatWasNotCopiedCanBeCopiedFromThePanel() {
        m->platform.keystrokesFake.isTrustGranted = false;
        m->platform.pasteboardFake.refusesWrites = true;
        c().setTargetLanguageIdentifier(u"en"_qs);
        m->dictate(u"hello"_qs);
        m->platform.pasteboardFake.refusesWrites = false; // the panel is in front
        c().pasteLastTranslation();
        QCOMPARE(c().statusText(), u"Copied translation. Enable Accessibility to auto-paste."_qs);
        QCOMPARE(m->platform.pasteboardFake.plainText(), u"hello"_qs);
    }

    void theOnDeviceEngineGetsLanguageCodes() {
        c().setTargetLanguageIdentifier(u"es"_qs);
        m->dictate(u"hello"_qs);
        QVERIFY(m->takeCalls().contains(u"translation.session en>es"_qs));
        QCOMPARE(c().translatedText(), u"<hello>"_qs);
    }

    void aTranslationIsPastedIntoTheApplicationInFront() {
        m->dictate(u"hello"_qs);
        QCOMPARE(m->takeCalls(u"(pasteboard|activate|on)"_qs).mid(3),
                 (QStringList{u"pasteboard.save"_qs, u"pasteboard.write <hello>"_qs, u"activate editor"_qs,
                              processingOff}));
    }

    void theHostedEngineGetsLanguageNames() {
        c().setTranslationEngineIdentifier(u"openAINatural"_qs);
        m->dictate(u"hello"_qs);
        QCOMPARE(QJsonDocument::fromJson(hostedRequest().body).object(),
                 (QJsonObject{{u"text"_qs, u"hello"_qs},
                              {u"sourceLanguage"_qs, u"English (United States)"_qs},
                              {u"targetLanguage"_qs, u"Russian"_qs}}));
        QCOMPARE(c().translatedText(), u"translated"_qs);
        QCOMPARE(c().statusText(), u"Inserted translation."_qs);
    }

    void theEndpointIsUsedTrimmedAndStaysAsTyped() {
        const QString typed = u"  https://my.example/t \n"_qs;
        c().setTranslationEngineIdentifier(u"openAINatural"_qs);
        c().setOpenAIEndpointString(typed);
        m->dictate(u"hello"_qs);
        QCOMPARE(hostedRequest().url, QUrl(u"https://my.example/t"_qs));
        QCOMPARE(c().openAIEndpointString(), typed);
        QCOMPARE(m->platform.defaults.values.at(u"openAIEndpointString"_qs), typed);
    }

    void theTokenIsSentTrimmedAndStaysAsTyped() {
        c().setTranslationEngineIdentifier(u"openAINatural"_qs);
        c().setOpenAIClientToken(u" s3cret \n"_qs);
        m->dictate(u"hello"_qs);
        QVERIFY(hostedRequest().headers.contains({"Authorization", "Bearer s3cret"}));
        QCOMPARE(c().openAIClientToken(), u" s3cret \n"_qs);
        QCOMPARE(m->platform.keychainFake.items.at({u"com.local.Quillora"_qs, u"openAIClientToken"_qs}).data,
                 std::optional<QByteArray>(" s3cret \n"));
    }

    void theHostedEngineIsToldWhichInstallationAsks() {
        m->platform.keychainFake.items[{u"com.local.Quillora"_qs, u"deviceIdentifier"_qs}] = {"1A-2B", {}};
        c().setTranslationEngineIdentifier(u"openAINatural"_qs);
        m->dictate(u"hello"_qs);
        QVERIFY(hostedRequest().headers.contains({"X-Quillora-Device-Id", "1A-2B"}));
    }

    void onDeviceWithAnUnsupportedPairTranslatesWithTheHostedEngine() {
        c().hotKeyPressed();
        m->run();
        c().hotKeyReleased();
        m->platform.speech.deliverFinal(u"hello"_qs);
        m->takeCalls();
        m->takeStatuses();
        chooseUnsupportedTarget([this] { m->run(); });
        QVERIFY(m->takeStatuses().contains(u"Translating with OpenAI..."_qs));
        QCOMPARE(m->platform.http.requests.size(), 1u);
        QVERIFY(m->takeCalls(u"translation"_qs).isEmpty());
    }

    void aTranslationErrorIsShownAndNothingIsPasted() {
        m->platform.translation.translationError = u"The engine broke."_qs;
        m->dictate(u"hello"_qs);
        QCOMPARE(c().statusText(), u"Translation failed: The engine broke."_qs);
        QCOMPARE(c().translatedText(), QString());
        QCOMPARE(c().transcriptText(), u"hello"_qs);
        const QStringList calls = m->takeCalls(u"(pasteboard|on)"_qs);
        QCOMPARE(calls.mid(calls.size() - 2), (QStringList{attention, processingOff}));
        QVERIFY(calls.filter(u"pasteboard"_qs).isEmpty());
        QVERIFY(!c().isProcessing());
    }

    void whatToDoWithoutABackendComesBeforeTheReason_data() {
        QTest::addColumn<QString>("target");
        QTest::newRow("a pair for both engines") << u"ru"_qs;
        QTest::newRow("a pair for the hosted engine only") << u"kk"_qs;
    }
    void whatToDoWithoutABackendComesBeforeTheReason() {
        QFETCH(QString, target);
        c().setTargetLanguageIdentifier(target);
        c().setTranslationEngineIdentifier(u"openAINatural"_qs);
        c().setOpenAIEndpointString(u' ' + defaultEndpoint());
        m->platform.http.transportError = u"Connection refused."_qs;
        m->dictate(u"hello"_qs);
        QCOMPARE(c().statusText(),
                 u"Translation failed: Enter your own Backend URL, or choose languages that Apple Local can "
                 u"translate. Connection refused."_qs);
    }

    void noAdviceIsGivenWhereSomebodyAnswersOrTheUserChoseWhom() {
        c().setTranslationEngineIdentifier(u"openAINatural"_qs);
        m->platform.http.response = {true, 401, R"({"error":"Who are you?"})"};
        m->dictate(u"hello"_qs);
        QCOMPARE(c().statusText(), u"Translation failed: Who are you?"_qs);
        m->platform.http.transportError = u"Connection refused."_qs;
        c().setOpenAIEndpointString(u"https://my.example/t"_qs);
        m->dictate(u"hello"_qs);
        QCOMPARE(c().statusText(), u"Translation failed: Connection refused."_qs);
    }

    void aFailureOfTheHostedEngineIsShownAndNothingIsPasted_data() {
        QTest::addColumn<QString>("endpoint");
        QTest::addColumn<int>("statusCode");
        QTest::addColumn<QByteArray>("body");
        QTest::addColumn<QString>("status");
        const QString good = u"https://my.example/t"_qs;
        const QByteArray answer = R"({"translation":"hola"})";
        QTest::newRow("an HTTP error with words") << good << 401 << QByteArray(R"({"error":"Who are you?"})")
                                                  << u"Translation failed: Who are you?"_qs;
        QTest::newRow("an HTTP error without words")
            << good << 502 << QByteArray("<html>")
            << u"Translation failed: Translation backend returned HTTP 502."_qs;
        QTest::newRow("an endpoint without a scheme")
            << u"my.example/t"_qs << 200 << answer
            << u"Translation failed: OpenAI backend endpoint is invalid."_qs;
        QTest::newRow("no endpoint") << u" \n"_qs << 200 << answer
                                     << u"Translation failed: OpenAI backend endpoint is invalid."_qs;
        QTest::newRow("an empty result")
            << good << 200 << QByteArray(R"({"translation":" \n"})")
            << u"Translation failed: OpenAI backend returned an empty translation."_qs;
        QTest::newRow("not HTTP") << good << 0 << answer
                                  << u"Translation failed: OpenAI backend returned an invalid response."_qs;
    }
    void aFailureOfTheHostedEngineIsShownAndNothingIsPasted() {
        QFETCH(QString, endpoint);
        QFETCH(int, statusCode);
        QFETCH(QByteArray, body);
        QFETCH(QString, status);
        c().setTranslationEngineIdentifier(u"openAINatural"_qs);
        c().setOpenAIEndpointString(endpoint);
        m->platform.http.response = {statusCode != 0, statusCode, body};
        m->dictate(u"hello"_qs);
        m->platform.queue.advance(5s);
        QCOMPARE(m->takeStatuses().last(2), (QStringList{u"Translating with OpenAI..."_qs, status}));
        const QStringList calls = m->takeCalls(u"(pasteboard|activate|keystrokes|on)"_qs);
        QCOMPARE(calls.mid(3), (QStringList{attention, processingOff}));
        QVERIFY(!c().isProcessing());
        QCOMPARE(c().transcriptText(), u"hello"_qs);
        QCOMPARE(c().translatedText(), QString());
    }

    void anErrorThatComesWhenANewerDictationRunsIsShownAndLeavesItRunning() {
        recordWhileATranslationIsPending();
        m->platform.http.pending.front().resume({true, 401, R"({"error":"Who are you?"})"});
        m->run();
        QCOMPARE(m->takeStatuses().last(), u"Translation failed: Who are you?"_qs);
        QCOMPARE(m->takeCalls(), (QStringList{attention, u"onStateChanged recording=1 processing=0"_qs}));
        QVERIFY(c().isRecording());
        QVERIFY(!c().isProcessing());
    }

    void aDictationThatRanDuringAnOlderOnesErrorIsInserted() {
        recordWhileATranslationIsPending();
        m->platform.http.pending.front().resume({true, 401, R"({"error":"Who are you?"})"});
        m->run();
        c().toggleRecording();
        m->platform.speech.deliverFinal(u"two"_qs);
        m->run();
        m->platform.http.pending.back().resume({true, 200, R"({"translation":"dos"})"});
        m->run();
        QCOMPARE(c().statusText(), u"Inserted translation."_qs);
        QCOMPARE(m->takeCalls(u"pasteboard.write"_qs), QStringList{u"pasteboard.write dos"_qs});
    }

    void anErrorBeforeTheRequestGoesOutIsATranslationsErrorToo() {
        c().setTranslationEngineIdentifier(u"openAINatural"_qs);
        m->platform.keychainFake.hasNoThreads = true; // where the device identifier is kept
        m->dictate(u"hello"_qs);
        QVERIFY(c().statusText().startsWith(u"Translation failed: "_qs));
        QVERIFY(!c().isProcessing());
    }

    void anErrorWithoutWordsIsAnErrorAllTheSame() {
        m->platform.translation.translationError = QString();
        m->dictate(u"hello"_qs);
        QCOMPARE(c().statusText(), u"Translation failed: "_qs);
    }

    void theFirstPasteWithoutTrustPromptsAndTheSecondDoesNot() {
        m->platform.keystrokesFake.isTrustGranted = false;
        m->dictate(u"one"_qs);
        QCOMPARE(c().statusText(), u"Copied translation. Enable Accessibility to auto-paste."_qs);
        QCOMPARE(m->platform.pasteboardFake.plainText(), u"<one>"_qs);
        QCOMPARE(m->takeCalls().count(prompt), 1);
        m->takeStatuses();
        m->dictate(u"two"_qs);
        QCOMPARE(m->takeCalls().count(prompt), 0);
        QCOMPARE(m->takeStatuses().last(3),
                 (QStringList{u"Pasting..."_qs, u"Accessibility access is still not active."_qs,
                              u"Copied translation. Enable Accessibility to auto-paste."_qs}));
    }

    void aPromptAtLaunchSavesTheOneAtTheFirstPaste() {
        m->platform.keystrokesFake.isTrustGranted = false;
        c().requestAccessibilityIfNeeded();
        QCOMPARE(m->takeCalls(), QStringList{prompt});
        c().requestAccessibilityIfNeeded();
        QCOMPARE(m->takeCalls(), QStringList());
        QCOMPARE(c().statusText(), u"Accessibility access is still not active."_qs);
        m->dictate(u"one"_qs);
        QCOMPARE(m->takeCalls().count(prompt), 0);
    }

    void trustThatIsThereNeedsNoPromptAndNoText() {
        c().requestAccessibilityIfNeeded();
        c().refreshAccessibilityStatus();
        QCOMPARE(m->takeCalls(), QStringList());
        QCOMPARE(c().statusText(), u"Ready."_qs);
    }

    void refreshingSaysThatTrustIsMissing() {
        m->platform.keystrokesFake.isTrustGranted = false;
        c().refreshAccessibilityStatus();
        QCOMPARE(c().statusText(), u"Accessibility access is needed to paste."_qs);
        m->platform.keystrokesFake.isTrustGranted = true;
        c().refreshAccessibilityStatus();
        QCOMPARE(c().statusText(), u"Accessibility access is needed to paste."_qs);
    }

    void aClipboardThatIsTakenBeforeTheChordIsReported() {
        m->dictate(u"hello"_qs);
        QCOMPARE(c().statusText(), u"Inserted translation."_qs);
        m->takeCalls();
        takeClipboard();
        m->platform.queue.advance(150ms);
        QCOMPARE(c().statusText(), u"Not inserted: the clipboard was taken."_qs);
        QCOMPARE(m->takeCalls(), QStringList{attention});
        QCOMPARE(c().translatedText(), u"<hello>"_qs);
        QVERIFY(!c().isProcessing());
    }

    void aDictationThatHasBegunSinceKeepsItsStatus() {
        m->dictate(u"hello"_qs);
        takeClipboard();
        c().hotKeyPressed();
        m->run();
        m->takeCalls();
        m->platform.queue.advance(150ms);
        QCOMPARE(c().statusText(), u"Listening..."_qs);
        QCOMPARE(m->takeCalls(u"onNeedsAttention"_qs), QStringList());
    }

    void aPressThatBeginsNoDictationChangesNothingAboutThat() {
        m->dictate(u"hello"_qs);
        takeClipboard();
        c().startHotKeyRecording();
        c().hotKeyPressed();
        m->run();
        m->platform.queue.advance(150ms);
        QCOMPARE(c().statusText(), u"Not inserted: the clipboard was taken."_qs);
    }

    void aClipboardThatIsTakenFromTheLastTranslationIsReportedToo() {
        m->dictate(u"hello"_qs);
        m->platform.queue.advance(950ms);
        c().pasteLastTranslation();
        takeClipboard();
        m->platform.queue.advance(150ms);
        QCOMPARE(c().statusText(), u"Not inserted: the clipboard was taken."_qs);
    }

    void aClipboardThatIsTakenAfterTheControllerIsGoneIsNobodysMatter() {
        m->dictate(u"hello"_qs);
        takeClipboard();
        m->endController();
        m->takeCalls();
        m->platform.queue.advance(150ms);
        QCOMPARE(m->takeCalls(), QStringList());
    }

    void trustThatIsWithdrawnIsSaidAtOnce() {
        m->platform.keystrokesFake.setTrust(false);
        QCOMPARE(c().statusText(), u"Accessibility access is needed to paste."_qs);
    }

    void trustThatIsWithdrawnDuringADictationDoesNotDisturbIt() {
        c().hotKeyPressed();
        m->run();
        m->platform.keystrokesFake.setTrust(false);
        QCOMPARE(c().statusText(), u"Listening..."_qs);
    }

    void trustThatArrivesLeavesTheStatusAlone() {
        m->platform.keystrokesFake.setTrust(false);
        m->platform.keystrokesFake.setTrust(true);
        QCOMPARE(c().statusText(), u"Accessibility access is needed to paste."_qs);
    }

    void trustThatIsWithdrawnAfterTheControllerIsGoneIsNobodysMatter() {
        m->endController();
        m->platform.keystrokesFake.setTrust(false);
    }

    void theLastTranslationIsPastedAgainUntrimmedAndSilently() {
        m->platform.translation.translation = [](const QString &) { return u" hola \n"_qs; };
        m->dictate(u"hello"_qs);
        m->takeCalls();
        c().pasteLastTranslation();
        QCOMPARE(m->takeCalls(), (QStringList{u"pasteboard.save"_qs, u"pasteboard.write  hola \n"_qs,
                                              u"activate editor"_qs}));
        QCOMPARE(c().statusText(), u"Inserted translation."_qs);
    }

    void aLastTranslationOfBlanksIsNotPasted() {
        m->platform.translation.translation = [](const QString &) { return u" \n"_qs; };
        m->dictate(u"hello"_qs);
        m->takeCalls();
        c().pasteLastTranslation();
        QCOMPARE(m->takeCalls(), QStringList());
    }

    void withThePanelInFrontThePasteGoesToTheApplicationBefore() {
        const auto browser = m->platform.workspaceFake.launch(u"browser"_qs);
        m->platform.workspaceFake.bringToFront(browser);
        m->platform.workspaceFake.bringToFront(m->platform.workspaceFake.launch(u"Quillora"_qs));
        m->run();
        m->dictate(u"hello"_qs);
        QCOMPARE(m->takeCalls(u"activate"_qs), QStringList{u"activate browser"_qs});
    }

    void aDesktopThatNamesNoApplicationIsIgnored() {
        m->platform.workspaceFake.notify(nullptr);
        m->run();
        m->platform.workspaceFake.frontmost = nullptr;
        m->dictate(u"hello"_qs);
        QCOMPARE(m->takeCalls(u"activate"_qs), QStringList{u"activate editor"_qs});
    }

    void anApplicationWithoutAnIdentifierIsAnother() {
        m->platform.workspaceFake.bringToFront(
            m->platform.workspaceFake.launch(u"nameless"_qs, std::nullopt));
        m->dictate(u"hello"_qs);
        QCOMPARE(m->takeCalls(u"activate"_qs), QStringList{u"activate nameless"_qs});
    }

    void withoutAnOwnIdentifierEveryApplicationIsAnother() {
        m->platform.workspaceFake.ownIdentifier.reset();
        m->platform.workspaceFake.bringToFront(m->platform.workspaceFake.launch(u"Quillora"_qs));
        m->dictate(u"hello"_qs);
        QCOMPARE(m->takeCalls(u"activate"_qs), QStringList{u"activate Quillora"_qs});
    }

    void withoutAnyIdentifierEveryApplicationIsAnotherToo() {
        m->platform.workspaceFake.ownIdentifier.reset();
        m->platform.workspaceFake.bringToFront(
            m->platform.workspaceFake.launch(u"nameless"_qs, std::nullopt));
        m->dictate(u"hello"_qs);
        QCOMPARE(m->takeCalls(u"activate"_qs), QStringList{u"activate nameless"_qs});
    }

    void withNoTargetAtAllThePasteGoesWhereTheFocusIs() {
        ControllerFixture f([](test::FakePlatform &platform) { platform.workspaceFake.frontmost = nullptr; });
        f.dictate(u"hello"_qs);
        f.platform.queue.advance(150ms);
        const QStringList calls = f.takeCalls();
        QVERIFY(calls.filter(u"activate"_qs).isEmpty());
        QVERIFY(calls.contains(u"keystrokes.paste"_qs));
        QCOMPARE(f.controller->statusText(), u"Inserted translation."_qs);
    }

    void theTargetIsTheOneInFrontAtTheStart() {
        c().hotKeyPressed();
        m->run();
        m->platform.workspaceFake.bringToFront(m->platform.workspaceFake.launch(u"chat"_qs));
        m->run();
        c().hotKeyReleased();
        m->platform.speech.deliverFinal(u"hello"_qs);
        m->run();
        QCOMPARE(m->takeCalls(u"activate"_qs), QStringList{u"activate editor"_qs});
    }

    // Model preparation

    void theHostedEngineNeedsNoPreparation() {
        c().setTranslationEngineIdentifier(u"openAINatural"_qs);
        m->takeCalls();
        c().prepareTranslationModels();
        m->run();
        QCOMPARE(c().statusText(), u"OpenAI Natural uses your backend; no local model download needed."_qs);
        QCOMPARE(m->takeCalls(), QStringList());
    }

    void theSameLanguageNeedsNoPreparation() {
        c().setTargetLanguageIdentifier(u"en"_qs);
        m->takeCalls();
        c().prepareTranslationModels();
        m->run();
        QCOMPARE(c().statusText(), u"Same language selected; no translation model needed."_qs);
        QCOMPARE(m->takeCalls(), QStringList());
    }

    void anUnsupportedPairSwitchesTheEngineInsteadOfBeingPrepared() {
        m->takeStatuses();
        chooseUnsupportedTarget([this] { c().prepareTranslationModels(); });
        QCOMPARE(m->takeStatuses(),
                 (QStringList{u"Ready."_qs, u"Kazakh uses OpenAI Natural; no local model download needed."_qs,
                              u"Kazakh uses OpenAI Natural."_qs}));
        QCOMPARE(c().translationEngineIdentifier(), u"openAINatural"_qs);
        QVERIFY(m->takeCalls(u"(on|translation)"_qs).isEmpty());
    }

    void preparationReportsSuccess() {
        c().prepareTranslationModels();
        QCOMPARE(c().statusText(), u"Preparing translation models..."_qs);
        QVERIFY(c().isProcessing());
        m->run();
        QCOMPARE(c().statusText(), u"Translation models are ready."_qs);
        QCOMPARE(m->takeCalls(),
                 (QStringList{u"onStateChanged recording=0 processing=1"_qs, u"translation.session en>ru"_qs,
                              u"session.prepare"_qs, processingOff}));
    }

    void preparationReportsFailure() {
        m->platform.translation.preparationError = u"No model."_qs;
        c().prepareTranslationModels();
        m->run();
        QCOMPARE(c().statusText(), u"Translation setup failed: No model."_qs);
        QCOMPARE(m->takeCalls(u"on"_qs),
                 (QStringList{u"onStateChanged recording=0 processing=1"_qs, attention, processingOff}));
    }

    void preparationWhileRecordingOrProcessingDoesNothing() {
        c().hotKeyPressed();
        m->run();
        m->takeCalls();
        c().prepareTranslationModels();
        QCOMPARE(m->takeCalls(), QStringList());
        c().hotKeyReleased();
        m->takeCalls();
        c().prepareTranslationModels();
        QCOMPARE(m->takeCalls(), QStringList());
    }

    void preparationKeepsRecordingsFromStarting() {
        c().prepareTranslationModels();
        c().hotKeyPressed();
        c().toggleRecording();
        c().startHotKeyRecording();
        QVERIFY(!c().isRecordingHotKey());
        m->run();
        QVERIFY(m->takeCalls(u"speech"_qs).isEmpty());
    }

    // Ends while something is under way

    void endingTheControllerDuringAHostedTranslationIsSafe() {
        c().setTranslationEngineIdentifier(u"openAINatural"_qs);
        m->platform.http.repliesByHand = true;
        m->dictate(u"hello"_qs);
        m->endController();
        m->takeCalls();
        m->platform.http.pending.front().resume(m->platform.http.response);
        m->run();
        QCOMPARE(m->takeCalls(), QStringList());
    }

    void endingTheControllerDuringATranslationOnThisComputerIsSafe() {
        m->platform.translation.replies = test::FakeTranslators::Replies::byHand;
        m->dictate(u"hello"_qs);
        m->platform.translation.pendingPreparations.front().resume(true);
        m->run();
        m->endController();
        m->takeCalls();
        m->platform.translation.pendingTranslations.front().resume(u"привет"_qs);
        m->run();
        QCOMPARE(m->takeCalls(), QStringList());
    }

    void aTargetThatIsChosenDuringATranslationCountsForTheNext() {
        auto &translation = m->platform.translation;
        translation.replies = test::FakeTranslators::Replies::byHand;
        m->dictate(u"hello"_qs);
        c().setTargetLanguageIdentifier(u"de"_qs);
        m->run();
        QCOMPARE(translation.preparedPairs, QStringList{u"en>ru"_qs});
        translation.pendingPreparations.front().resume(true);
        m->run();
        translation.pendingTranslations.front().resume(u"привет"_qs);
        m->run();
        QCOMPARE(c().translatedText(), u"привет"_qs);
        QVERIFY(!c().isProcessing());
        m->platform.queue.advance(5s);
        m->dictate(u"hello"_qs);
        QCOMPARE(translation.preparedPairs, (QStringList{u"en>ru"_qs, u"en>de"_qs}));
    }

    void endingTheControllerDuringAPreparationIsSafe() {
        m->platform.translation.replies = test::FakeTranslators::Replies::byHand;
        c().prepareTranslationModels();
        m->run();
        m->endController();
        m->takeCalls();
        m->platform.translation.pendingPreparations.front().resume(true);
        m->run();
        QCOMPARE(m->takeCalls(), QStringList());
    }

private:
    QStringList takeWarmed() { return std::exchange(m->platform.translation.warmedPairs, {}); }
    /// Another program puts something else on the clipboard.
    void takeClipboard() {
        test::PasteboardItem item;
        item.setString(u"a password"_qs, test::FakePasteboard::plainStringType);
        m->platform.pasteboardFake.contents = {item};
    }

    /// Two starts from the panel are allowed while the first waits for permission: one dictation has come to
    /// its hosted translation, the other records.
    void recordWhileATranslationIsPending() {
        auto &speech = m->platform.speech;
        auto &permissions = m->platform.permissions;
        permissions.replies = test::FakeSpeechPermissions::Replies::byHand;
        m->platform.http.repliesByHand = true;
        c().setTranslationEngineIdentifier(u"openAINatural"_qs);
        const auto grant = [&](size_t question) {
            permissions.speechRecognitionReplies[question](true);
            m->run();
            permissions.microphoneReplies[question](true);
            m->run();
        };
        c().toggleRecording();
        c().toggleRecording();
        grant(0);
        c().toggleRecording();
        speech.deliverFinal(u"one"_qs);
        m->run();
        grant(1);
        QVERIFY(c().isRecording());
        QVERIFY(c().isProcessing());
        m->takeCalls();
    }

    /// The first request to the backend; an empty one if none was made.
    platform::HttpRequest hostedRequest() const {
        const auto &requests = m->platform.http.requests;
        return requests.empty() ? platform::HttpRequest() : requests.front();
    }

    /// Chooses Kazakh, and does something while the on-device engine is still selected: the rule that
    /// switches it away comes after the word of the change.
    void chooseUnsupportedTarget(const std::function<void()> &meanwhile) {
        QString engineMeanwhile;
        QObject::connect(
            &c(), &AppController::targetLanguageIdentifierChanged, &c(),
            [&] {
                engineMeanwhile = c().translationEngineIdentifier();
                meanwhile();
            },
            Qt::SingleShotConnection);
        c().setTargetLanguageIdentifier(u"kk"_qs);
        QCOMPARE(engineMeanwhile, u"appleLocal"_qs);
    }

    AppController &c() { return *m->controller; }
    std::unique_ptr<ControllerFixture> m;
};

QTEST_GUILESS_MAIN(AppControllerTranslationTest)
#include "AppControllerTranslationTest.moc"
