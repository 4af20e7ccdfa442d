#include "controller/ControllerFixture.h"
#include "controller/HostedEndpoint.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <QTest>

using namespace Qt::StringLiterals;
using namespace quillora;
using test::ControllerFixture;
using namespace std::chrono_literals;

namespace {

const QString attention = u"onNeedsAttention"_s;
const QString processingOff = u"onStateChanged recording=0 processing=0"_s;
const QString prompt = u"keystrokes.prompt"_s;
const QString notCopied =
    u"Not copied: only the window in front may copy here. Use \"Paste last translation\"."_s;

} // namespace

class AppControllerTranslationTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init() { m = std::make_unique<ControllerFixture>(); }
    void cleanup() { m.reset(); }

    void thePairInUseIsGotReadyAtTheStart() { QCOMPARE(takeWarmed(), QStringList{u"en>ru"_s}); }

    void soItIsAtEachChange() {
        takeWarmed();
        c().setTargetLanguageIdentifier(u"de"_s);
        QCOMPARE(takeWarmed(), QStringList{u"en>de"_s});
        c().setSourceLocaleIdentifier(u"es-ES"_s);
        QCOMPARE(takeWarmed(), QStringList{u"es>de"_s});
        c().setTranslationEngineIdentifier(u"openAINatural"_s);
        c().setTargetLanguageIdentifier(u"fr"_s);
        QCOMPARE(takeWarmed(), QStringList());
        c().setTranslationEngineIdentifier(u"appleLocal"_s);
        QCOMPARE(takeWarmed(), QStringList{u"es>fr"_s});
    }

    void swappedLanguagesAreGotReadyTheOtherWayRound() {
        takeWarmed();
        c().swapLanguages();
        QCOMPARE(takeWarmed().last(), u"ru>en"_s);
    }

    void thePairIsGotReadyOnceTheMicrophoneIsOpen() {
        takeWarmed();
        c().hotKeyPressed();
        QCOMPARE(takeWarmed(), QStringList());
        m->run();
        QVERIFY(c().isRecording());
        QCOMPARE(takeWarmed(), QStringList{u"en>ru"_s});
        c().hotKeyReleased();
        m->platform.speech.deliverFinal(u"hello"_s);
        m->run();
        QCOMPARE(takeWarmed(), QStringList());
    }

    void nothingIsGotReadyForAMicrophoneThatDoesNotOpen() {
        takeWarmed();
        m->platform.microphoneFake.startError = u"The device is in use."_s;
        c().hotKeyPressed();
        m->run();
        QVERIFY(!c().isRecording());
        QCOMPARE(takeWarmed(), QStringList());
    }

    void nothingIsGotReadyForOneLanguageOrTheHostedEngine() {
        c().setTargetLanguageIdentifier(u"en"_s);
        takeWarmed();
        m->dictate(u"hello"_s);
        QCOMPARE(takeWarmed(), QStringList());
        c().setTargetLanguageIdentifier(u"kk"_s); // which only the hosted engine translates into
        c().hotKeyPressed();
        m->run();
        QVERIFY(c().isRecording());
        QCOMPARE(takeWarmed(), QStringList());
    }

    void theSameLanguageIsInsertedUntranslated() {
        c().setTargetLanguageIdentifier(u"en"_s);
        m->takeStatuses();
        m->dictate(u"hello"_s);
        QCOMPARE(c().translatedText(), u"hello"_s);
        QCOMPARE(m->takeStatuses().last(2),
                 (QStringList{u"Same language selected; pasting transcript."_s, u"Inserted transcript."_s}));
        const QStringList calls = m->takeCalls();
        QVERIFY(calls.contains(u"pasteboard.write hello"_s));
        QVERIFY(calls.filter(u"translation"_s).isEmpty());
        QVERIFY(!c().isProcessing());
    }

    void theSameLanguageShowsTheTextBeforeItSaysThatItIsPasted() {
        c().setTargetLanguageIdentifier(u"en"_s);
        QStringList shown;
        test::onAnyChange(c(), [&](size_t) {
            if (c().statusText().startsWith(u"Same language"))
                shown += c().translatedText();
        });
        m->dictate(u"hello"_s);
        QCOMPARE(shown.value(0), u"hello"_s);
    }

    void theSameLanguageWithoutTrustIsCopied() {
        c().setTargetLanguageIdentifier(u"en"_s);
        m->platform.keystrokesFake.isTrustGranted = false;
        m->dictate(u"hello"_s);
        QCOMPARE(c().statusText(), u"Copied transcript. Enable Accessibility to auto-paste."_s);
        QCOMPARE(m->platform.pasteboardFake.plainText(), u"hello"_s);
    }

    void aTextThatTheDesktopDoesNotTakeIsSaidNotToBeCopied() {
        m->platform.keystrokesFake.isTrustGranted = false;
        m->platform.pasteboardFake.refusesWrites = true;
        c().setTargetLanguageIdentifier(u"en"_s);
        m->takeCalls();
        m->dictate(u"hello"_s);
        QCOMPARE(c().statusText(), notCopied);
        QVERIFY(m->takeCalls().contains(u"onNeedsAttention"_s));
        QCOMPARE(c().translatedText(), u"hello"_s);
    }

    void aTextThatWasNotCopiedCanBeCopiedFromThePanel() {
        m->platform.keystrokesFake.isTrustGranted = false;
        m->platform.pasteboardFake.refusesWrites = true;
        c().setTargetLanguageIdentifier(u"en"_s);
        m->dictate(u"hello"_s);
        m->platform.pasteboardFake.refusesWrites = false; // the panel is in front
        c().pasteLastTranslation();
        QCOMPARE(c().statusText(), u"Copied translation. Enable Accessibility to auto-paste."_s);
        QCOMPARE(m->platform.pasteboardFake.plainText(), u"hello"_s);
    }

    void theOnDeviceEngineGetsLanguageCodes() {
        c().setTargetLanguageIdentifier(u"es"_s);
        m->dictate(u"hello"_s);
        QVERIFY(m->takeCalls().contains(u"translation.session en>es"_s));
        QCOMPARE(c().translatedText(), u"<hello>"_s);
    }

    void aTranslationIsPastedIntoTheApplicationInFront() {
        m->dictate(u"hello"_s);
        QCOMPARE(m->takeCalls(u"(pasteboard|activate|on)"_s).mid(3),
                 (QStringList{u"pasteboard.save"_s, u"pasteboard.write <hello>"_s, u"activate editor"_s,
                              processingOff}));
    }

    void theHostedEngineGetsLanguageNames() {
        c().setTranslationEngineIdentifier(u"openAINatural"_s);
        m->dictate(u"hello"_s);
        QCOMPARE(QJsonDocument::fromJson(hostedRequest().body).object(),
                 (QJsonObject{{u"text"_s, u"hello"_s},
                              {u"sourceLanguage"_s, u"English (United States)"_s},
                              {u"targetLanguage"_s, u"Russian"_s}}));
        QCOMPARE(c().translatedText(), u"translated"_s);
        QCOMPARE(c().statusText(), u"Inserted translation."_s);
    }

    void theEndpointIsUsedTrimmedAndStaysAsTyped() {
        const QString typed = u"  https://my.example/t \n"_s;
        c().setTranslationEngineIdentifier(u"openAINatural"_s);
        c().setOpenAIEndpointString(typed);
        m->dictate(u"hello"_s);
        QCOMPARE(hostedRequest().url, QUrl(u"https://my.example/t"_s));
        QCOMPARE(c().openAIEndpointString(), typed);
        QCOMPARE(m->platform.defaults.values.at(u"openAIEndpointString"_s), typed);
    }

    void theTokenIsSentTrimmedAndStaysAsTyped() {
        c().setTranslationEngineIdentifier(u"openAINatural"_s);
        c().setOpenAIClientToken(u" s3cret \n"_s);
        m->dictate(u"hello"_s);
        QVERIFY(hostedRequest().headers.contains({"Authorization", "Bearer s3cret"}));
        QCOMPARE(c().openAIClientToken(), u" s3cret \n"_s);
        QCOMPARE(m->platform.keychainFake.items.at({u"com.local.Quillora"_s, u"openAIClientToken"_s}).data,
                 std::optional<QByteArray>(" s3cret \n"));
    }

    void theHostedEngineIsToldWhichInstallationAsks() {
        m->platform.keychainFake.items[{u"com.local.Quillora"_s, u"deviceIdentifier"_s}] = {"1A-2B", {}};
        c().setTranslationEngineIdentifier(u"openAINatural"_s);
        m->dictate(u"hello"_s);
        QVERIFY(hostedRequest().headers.contains({"X-Quillora-Device-Id", "1A-2B"}));
    }

    void onDeviceWithAnUnsupportedPairTranslatesWithTheHostedEngine() {
        c().hotKeyPressed();
        m->run();
        c().hotKeyReleased();
        m->platform.speech.deliverFinal(u"hello"_s);
        m->takeCalls();
        m->takeStatuses();
        chooseUnsupportedTarget([this] { m->run(); });
        QVERIFY(m->takeStatuses().contains(u"Translating with OpenAI..."_s));
        QCOMPARE(m->platform.http.requests.size(), 1u);
        QVERIFY(m->takeCalls(u"translation"_s).isEmpty());
    }

    void aTranslationErrorIsShownAndNothingIsPasted() {
        m->platform.translation.translationError = u"The engine broke."_s;
        m->dictate(u"hello"_s);
        QCOMPARE(c().statusText(), u"Translation failed: The engine broke."_s);
        QCOMPARE(c().translatedText(), QString());
        QCOMPARE(c().transcriptText(), u"hello"_s);
        const QStringList calls = m->takeCalls(u"(pasteboard|on)"_s);
        QCOMPARE(calls.mid(calls.size() - 2), (QStringList{attention, processingOff}));
        QVERIFY(calls.filter(u"pasteboard"_s).isEmpty());
        QVERIFY(!c().isProcessing());
    }

    void whatToDoWithoutABackendComesBeforeTheReason_data() {
        QTest::addColumn<QString>("target");
        QTest::newRow("a pair for both engines") << u"ru"_s;
        QTest::newRow("a pair for the hosted engine only") << u"kk"_s;
    }
    void whatToDoWithoutABackendComesBeforeTheReason() {
        QFETCH(QString, target);
        c().setTargetLanguageIdentifier(target);
        c().setTranslationEngineIdentifier(u"openAINatural"_s);
        c().setOpenAIEndpointString(u' ' + defaultEndpoint());
        m->platform.http.transportError = u"Connection refused."_s;
        m->dictate(u"hello"_s);
        QCOMPARE(c().statusText(),
                 u"Translation failed: Enter your own Backend URL, or choose languages that Apple Local can "
                 u"translate. Connection refused."_s);
    }

    void noAdviceIsGivenWhereSomebodyAnswersOrTheUserChoseWhom() {
        c().setTranslationEngineIdentifier(u"openAINatural"_s);
        m->platform.http.response = {true, 401, R"({"error":"Who are you?"})"};
        m->dictate(u"hello"_s);
        QCOMPARE(c().statusText(), u"Translation failed: Who are you?"_s);
        m->platform.http.transportError = u"Connection refused."_s;
        c().setOpenAIEndpointString(u"https://my.example/t"_s);
        m->dictate(u"hello"_s);
        QCOMPARE(c().statusText(), u"Translation failed: Connection refused."_s);
    }

    void aFailureOfTheHostedEngineIsShownAndNothingIsPasted_data() {
        QTest::addColumn<QString>("endpoint");
        QTest::addColumn<int>("statusCode");
        QTest::addColumn<QByteArray>("body");
        QTest::addColumn<QString>("status");
        const QString good = u"https://my.example/t"_s;
        const QByteArray answer = R"({"translation":"hola"})";
        QTest::newRow("an HTTP error with words") << good << 401 << QByteArray(R"({"error":"Who are you?"})")
                                                  << u"Translation failed: Who are you?"_s;
        QTest::newRow("an HTTP error without words")
            << good << 502 << QByteArray("<html>")
            << u"Translation failed: Translation backend returned HTTP 502."_s;
        QTest::newRow("an endpoint without a scheme")
            << u"my.example/t"_s << 200 << answer
            << u"Translation failed: OpenAI backend endpoint is invalid."_s;
        QTest::newRow("no endpoint") << u" \n"_s << 200 << answer
                                     << u"Translation failed: OpenAI backend endpoint is invalid."_s;
        QTest::newRow("an empty result")
            << good << 200 << QByteArray(R"({"translation":" \n"})")
            << u"Translation failed: OpenAI backend returned an empty translation."_s;
        QTest::newRow("not HTTP") << good << 0 << answer
                                  << u"Translation failed: OpenAI backend returned an invalid response."_s;
    }
    void aFailureOfTheHostedEngineIsShownAndNothingIsPasted() {
        QFETCH(QString, endpoint);
        QFETCH(int, statusCode);
        QFETCH(QByteArray, body);
        QFETCH(QString, status);
        c().setTranslationEngineIdentifier(u"openAINatural"_s);
        c().setOpenAIEndpointString(endpoint);
        m->platform.http.response = {statusCode != 0, statusCode, body};
        m->dictate(u"hello"_s);
        m->platform.queue.advance(5s);
        QCOMPARE(m->takeStatuses().last(2), (QStringList{u"Translating with OpenAI..."_s, status}));
        const QStringList calls = m->takeCalls(u"(pasteboard|activate|keystrokes|on)"_s);
        QCOMPARE(calls.mid(3), (QStringList{attention, processingOff}));
        QVERIFY(!c().isProcessing());
        QCOMPARE(c().transcriptText(), u"hello"_s);
        QCOMPARE(c().translatedText(), QString());
    }

    void anErrorThatComesWhenANewerDictationRunsIsShownAndLeavesItRunning() {
        recordWhileATranslationIsPending();
        m->platform.http.pending.front().resume({true, 401, R"({"error":"Who are you?"})"});
        m->run();
        QCOMPARE(m->takeStatuses().last(), u"Translation failed: Who are you?"_s);
        QCOMPARE(m->takeCalls(), (QStringList{attention, u"onStateChanged recording=1 processing=0"_s}));
        QVERIFY(c().isRecording());
        QVERIFY(!c().isProcessing());
    }

    void aDictationThatRanDuringAnOlderOnesErrorIsInserted() {
        recordWhileATranslationIsPending();
        m->platform.http.pending.front().resume({true, 401, R"({"error":"Who are you?"})"});
        m->run();
        c().toggleRecording();
        m->platform.speech.deliverFinal(u"two"_s);
        m->run();
        m->platform.http.pending.back().resume({true, 200, R"({"translation":"dos"})"});
        m->run();
        QCOMPARE(c().statusText(), u"Inserted translation."_s);
        QCOMPARE(m->takeCalls(u"pasteboard.write"_s), QStringList{u"pasteboard.write dos"_s});
    }

    void anErrorBeforeTheRequestGoesOutIsATranslationsErrorToo() {
        c().setTranslationEngineIdentifier(u"openAINatural"_s);
        m->platform.keychainFake.hasNoThreads = true; // where the device identifier is kept
        m->dictate(u"hello"_s);
        QVERIFY(c().statusText().startsWith(u"Translation failed: "_s));
        QVERIFY(!c().isProcessing());
    }

    void anErrorWithoutWordsIsAnErrorAllTheSame() {
        m->platform.translation.translationError = QString();
        m->dictate(u"hello"_s);
        QCOMPARE(c().statusText(), u"Translation failed: "_s);
    }

    void theFirstPasteWithoutTrustPromptsAndTheSecondDoesNot() {
        m->platform.keystrokesFake.isTrustGranted = false;
        m->dictate(u"one"_s);
        QCOMPARE(c().statusText(), u"Copied translation. Enable Accessibility to auto-paste."_s);
        QCOMPARE(m->platform.pasteboardFake.plainText(), u"<one>"_s);
        QCOMPARE(m->takeCalls().count(prompt), 1);
        m->takeStatuses();
        m->dictate(u"two"_s);
        QCOMPARE(m->takeCalls().count(prompt), 0);
        QCOMPARE(m->takeStatuses().last(3),
                 (QStringList{u"Pasting..."_s, u"Accessibility access is still not active."_s,
                              u"Copied translation. Enable Accessibility to auto-paste."_s}));
    }

    void aPromptAtLaunchSavesTheOneAtTheFirstPaste() {
        m->platform.keystrokesFake.isTrustGranted = false;
        c().requestAccessibilityIfNeeded();
        QCOMPARE(m->takeCalls(), QStringList{prompt});
        c().requestAccessibilityIfNeeded();
        QCOMPARE(m->takeCalls(), QStringList());
        QCOMPARE(c().statusText(), u"Accessibility access is still not active."_s);
        m->dictate(u"one"_s);
        QCOMPARE(m->takeCalls().count(prompt), 0);
    }

    void trustThatIsThereNeedsNoPromptAndNoText() {
        c().requestAccessibilityIfNeeded();
        c().refreshAccessibilityStatus();
        QCOMPARE(m->takeCalls(), QStringList());
        QCOMPARE(c().statusText(), u"Ready."_s);
    }

    void refreshingSaysThatTrustIsMissing() {
        m->platform.keystrokesFake.isTrustGranted = false;
        c().refreshAccessibilityStatus();
        QCOMPARE(c().statusText(), u"Accessibility access is needed to paste."_s);
        m->platform.keystrokesFake.isTrustGranted = true;
        c().refreshAccessibilityStatus();
        QCOMPARE(c().statusText(), u"Accessibility access is needed to paste."_s);
    }

    void aClipboardThatIsTakenBeforeTheChordIsReported() {
        m->dictate(u"hello"_s);
        QCOMPARE(c().statusText(), u"Inserted translation."_s);
        m->takeCalls();
        takeClipboard();
        m->platform.queue.advance(150ms);
        QCOMPARE(c().statusText(), u"Not inserted: the clipboard was taken."_s);
        QCOMPARE(m->takeCalls(), QStringList{attention});
        QCOMPARE(c().translatedText(), u"<hello>"_s);
        QVERIFY(!c().isProcessing());
    }

    void aDictationThatHasBegunSinceKeepsItsStatus() {
        m->dictate(u"hello"_s);
        takeClipboard();
        c().hotKeyPressed();
        m->run();
        m->takeCalls();
        m->platform.queue.advance(150ms);
        QCOMPARE(c().statusText(), u"Listening..."_s);
        QCOMPARE(m->takeCalls(u"onNeedsAttention"_s), QStringList());
    }

    void aPressThatBeginsNoDictationChangesNothingAboutThat() {
        m->dictate(u"hello"_s);
        takeClipboard();
        c().startHotKeyRecording();
        c().hotKeyPressed();
        m->run();
        m->platform.queue.advance(150ms);
        QCOMPARE(c().statusText(), u"Not inserted: the clipboard was taken."_s);
    }

    void aClipboardThatIsTakenFromTheLastTranslationIsReportedToo() {
        m->dictate(u"hello"_s);
        m->platform.queue.advance(950ms);
        c().pasteLastTranslation();
        takeClipboard();
        m->platform.queue.advance(150ms);
        QCOMPARE(c().statusText(), u"Not inserted: the clipboard was taken."_s);
    }

    void aClipboardThatIsTakenAfterTheControllerIsGoneIsNobodysMatter() {
        m->dictate(u"hello"_s);
        takeClipboard();
        m->endController();
        m->takeCalls();
        m->platform.queue.advance(150ms);
        QCOMPARE(m->takeCalls(), QStringList());
    }

    void trustThatIsWithdrawnIsSaidAtOnce() {
        m->platform.keystrokesFake.setTrust(false);
        QCOMPARE(c().statusText(), u"Accessibility access is needed to paste."_s);
    }

    void trustThatIsWithdrawnDuringADictationDoesNotDisturbIt() {
        c().hotKeyPressed();
        m->run();
        m->platform.keystrokesFake.setTrust(false);
        QCOMPARE(c().statusText(), u"Listening..."_s);
    }

    void trustThatArrivesLeavesTheStatusAlone() {
        m->platform.keystrokesFake.setTrust(false);
        m->platform.keystrokesFake.setTrust(true);
        QCOMPARE(c().statusText(), u"Accessibility access is needed to paste."_s);
    }

    void trustThatIsWithdrawnAfterTheControllerIsGoneIsNobodysMatter() {
        m->endController();
        m->platform.keystrokesFake.setTrust(false);
    }

    void theLastTranslationIsPastedAgainUntrimmedAndSilently() {
        m->platform.translation.translation = [](const QString &) { return u" hola \n"_s; };
        m->dictate(u"hello"_s);
        m->takeCalls();
        c().pasteLastTranslation();
        QCOMPARE(m->takeCalls(),
                 (QStringList{u"pasteboard.save"_s, u"pasteboard.write  hola \n"_s, u"activate editor"_s}));
        QCOMPARE(c().statusText(), u"Inserted translation."_s);
    }

    void aLastTranslationOfBlanksIsNotPasted() {
        m->platform.translation.translation = [](const QString &) { return u" \n"_s; };
        m->dictate(u"hello"_s);
        m->takeCalls();
        c().pasteLastTranslation();
        QCOMPARE(m->takeCalls(), QStringList());
    }

    void withThePanelInFrontThePasteGoesToTheApplicationBefore() {
        const auto browser = m->platform.workspaceFake.launch(u"browser"_s);
        m->platform.workspaceFake.bringToFront(browser);
        m->platform.workspaceFake.bringToFront(m->platform.workspaceFake.launch(u"Quillora"_s));
        m->run();
        m->dictate(u"hello"_s);
        QCOMPARE(m->takeCalls(u"activate"_s), QStringList{u"activate browser"_s});
    }

    void aDesktopThatNamesNoApplicationIsIgnored() {
        m->platform.workspaceFake.notify(nullptr);
        m->run();
        m->platform.workspaceFake.frontmost = nullptr;
        m->dictate(u"hello"_s);
        QCOMPARE(m->takeCalls(u"activate"_s), QStringList{u"activate editor"_s});
    }

    void anApplicationWithoutAnIdentifierIsAnother() {
        m->platform.workspaceFake.bringToFront(m->platform.workspaceFake.launch(u"nameless"_s, std::nullopt));
        m->dictate(u"hello"_s);
        QCOMPARE(m->takeCalls(u"activate"_s), QStringList{u"activate nameless"_s});
    }

    void withoutAnOwnIdentifierEveryApplicationIsAnother() {
        m->platform.workspaceFake.ownIdentifier.reset();
        m->platform.workspaceFake.bringToFront(m->platform.workspaceFake.launch(u"Quillora"_s));
        m->dictate(u"hello"_s);
        QCOMPARE(m->takeCalls(u"activate"_s), QStringList{u"activate Quillora"_s});
    }

    void withoutAnyIdentifierEveryApplicationIsAnotherToo() {
        m->platform.workspaceFake.ownIdentifier.reset();
        m->platform.workspaceFake.bringToFront(m->platform.workspaceFake.launch(u"nameless"_s, std::nullopt));
        m->dictate(u"hello"_s);
        QCOMPARE(m->takeCalls(u"activate"_s), QStringList{u"activate nameless"_s});
    }

    void withNoTargetAtAllThePasteGoesWhereTheFocusIs() {
        ControllerFixture f([](test::FakePlatform &platform) { platform.workspaceFake.frontmost = nullptr; });
        f.dictate(u"hello"_s);
        f.platform.queue.advance(150ms);
        const QStringList calls = f.takeCalls();
        QVERIFY(calls.filter(u"activate"_s).isEmpty());
        QVERIFY(calls.contains(u"keystrokes.paste"_s));
        QCOMPARE(f.controller->statusText(), u"Inserted translation."_s);
    }

    void theTargetIsTheOneInFrontAtTheStart() {
        c().hotKeyPressed();
        m->run();
        m->platform.workspaceFake.bringToFront(m->platform.workspaceFake.launch(u"chat"_s));
        m->run();
        c().hotKeyReleased();
        m->platform.speech.deliverFinal(u"hello"_s);
        m->run();
        QCOMPARE(m->takeCalls(u"activate"_s), QStringList{u"activate editor"_s});
    }

    // Model preparation

    void theHostedEngineNeedsNoPreparation() {
        c().setTranslationEngineIdentifier(u"openAINatural"_s);
        m->takeCalls();
        c().prepareTranslationModels();
        m->run();
        QCOMPARE(c().statusText(), u"OpenAI Natural uses your backend; no local model download needed."_s);
        QCOMPARE(m->takeCalls(), QStringList());
    }

    void theSameLanguageNeedsNoPreparation() {
        c().setTargetLanguageIdentifier(u"en"_s);
        m->takeCalls();
        c().prepareTranslationModels();
        m->run();
        QCOMPARE(c().statusText(), u"Same language selected; no translation model needed."_s);
        QCOMPARE(m->takeCalls(), QStringList());
    }

    void anUnsupportedPairSwitchesTheEngineInsteadOfBeingPrepared() {
        m->takeStatuses();
        chooseUnsupportedTarget([this] { c().prepareTranslationModels(); });
        QCOMPARE(m->takeStatuses(),
                 (QStringList{u"Ready."_s, u"Kazakh uses OpenAI Natural; no local model download needed."_s,
                              u"Kazakh uses OpenAI Natural."_s}));
        QCOMPARE(c().translationEngineIdentifier(), u"openAINatural"_s);
        QVERIFY(m->takeCalls(u"(on|translation)"_s).isEmpty());
    }

    void preparationReportsSuccess() {
        c().prepareTranslationModels();
        QCOMPARE(c().statusText(), u"Preparing translation models..."_s);
        QVERIFY(c().isProcessing());
        m->run();
        QCOMPARE(c().statusText(), u"Translation models are ready."_s);
        QCOMPARE(m->takeCalls(),
                 (QStringList{u"onStateChanged recording=0 processing=1"_s, u"translation.session en>ru"_s,
                              u"session.prepare"_s, processingOff}));
    }

    void preparationReportsFailure() {
        m->platform.translation.preparationError = u"No model."_s;
        c().prepareTranslationModels();
        m->run();
        QCOMPARE(c().statusText(), u"Translation setup failed: No model."_s);
        QCOMPARE(m->takeCalls(u"on"_s),
                 (QStringList{u"onStateChanged recording=0 processing=1"_s, attention, processingOff}));
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
        QVERIFY(m->takeCalls(u"speech"_s).isEmpty());
    }

    // Ends while something is under way

    void endingTheControllerDuringAHostedTranslationIsSafe() {
        c().setTranslationEngineIdentifier(u"openAINatural"_s);
        m->platform.http.repliesByHand = true;
        m->dictate(u"hello"_s);
        m->endController();
        m->takeCalls();
        m->platform.http.pending.front().resume(m->platform.http.response);
        m->run();
        QCOMPARE(m->takeCalls(), QStringList());
    }

    void endingTheControllerDuringATranslationOnThisComputerIsSafe() {
        m->platform.translation.replies = test::FakeTranslators::Replies::byHand;
        m->dictate(u"hello"_s);
        m->platform.translation.pendingPreparations.front().resume(true);
        m->run();
        m->endController();
        m->takeCalls();
        m->platform.translation.pendingTranslations.front().resume(u"привет"_s);
        m->run();
        QCOMPARE(m->takeCalls(), QStringList());
    }

    void aTargetThatIsChosenDuringATranslationCountsForTheNext() {
        auto &translation = m->platform.translation;
        translation.replies = test::FakeTranslators::Replies::byHand;
        m->dictate(u"hello"_s);
        c().setTargetLanguageIdentifier(u"de"_s);
        m->run();
        QCOMPARE(translation.preparedPairs, QStringList{u"en>ru"_s});
        translation.pendingPreparations.front().resume(true);
        m->run();
        translation.pendingTranslations.front().resume(u"привет"_s);
        m->run();
        QCOMPARE(c().translatedText(), u"привет"_s);
        QVERIFY(!c().isProcessing());
        m->platform.queue.advance(5s);
        m->dictate(u"hello"_s);
        QCOMPARE(translation.preparedPairs, (QStringList{u"en>ru"_s, u"en>de"_s}));
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
        item.setString(u"a password"_s, test::FakePasteboard::plainStringType);
        m->platform.pasteboardFake.contents = {item};
    }

    /// Two starts from the panel are allowed while the first waits for permission: one dictation has come to
    /// its hosted translation, the other records.
    void recordWhileATranslationIsPending() {
        auto &speech = m->platform.speech;
        auto &permissions = m->platform.permissions;
        permissions.replies = test::FakeSpeechPermissions::Replies::byHand;
        m->platform.http.repliesByHand = true;
        c().setTranslationEngineIdentifier(u"openAINatural"_s);
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
        speech.deliverFinal(u"one"_s);
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
        c().setTargetLanguageIdentifier(u"kk"_s);
        QCOMPARE(engineMeanwhile, u"appleLocal"_s);
    }

    AppController &c() { return *m->controller; }
    std::unique_ptr<ControllerFixture> m;
};

QTEST_GUILESS_MAIN(AppControllerTranslationTest)
#include "AppControllerTranslationTest.moc"
