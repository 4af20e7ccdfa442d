#include "controller/ControllerFixture.h"
#include "controller/HostedEndpoint.h"

#include <QTest>

#include <functional>

using namespace Qt::StringLiterals;
using namespace quillora;
using test::ControllerFixture;
using Replies = test::FakeSpeechPermissions::Replies;
using namespace std::chrono_literals;

namespace {

const QString recordingOn = u"onStateChanged recording=1 processing=0"_s;
const QString recordingOff = u"onStateChanged recording=0 processing=0"_s;
const QString processingOn = u"onStateChanged recording=0 processing=1"_s;
const QString processingOff = u"onStateChanged recording=0 processing=0"_s;
const QString attention = u"onNeedsAttention"_s;
const QStringList prepared{u"http prepare https://my.example/t"_s};

} // namespace

class AppControllerRecordingTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init() { m = std::make_unique<ControllerFixture>(); }
    void cleanup() { m.reset(); }

    void pressHoldReleaseTranscribesAndTranslates() {
        c().hotKeyPressed();
        QCOMPARE(c().statusText(), u"Requesting microphone and speech access..."_s);
        m->run();
        QVERIFY(c().isRecording());
        m->platform.speech.deliver(u"hel"_s);
        m->run();
        QCOMPARE(c().transcriptText(), u"hel"_s);
        c().hotKeyReleased();
        QVERIFY(!c().isRecording());
        QVERIFY(c().isProcessing());
        m->platform.speech.deliverFinal(u" hello \n"_s);
        m->run();
        QCOMPARE(c().transcriptText(), u"hello"_s);
        QCOMPARE(c().translatedText(), u"<hello>"_s);
        QVERIFY(!c().isProcessing());
        // The final text comes the way of the interim ones, so it says that it listens once more.
        QCOMPARE(m->takeStatuses(),
                 (QStringList{u"Ready."_s, u"Requesting microphone and speech access..."_s, u"Listening..."_s,
                              u"Finishing transcription..."_s, u"Listening..."_s, u"Translating locally..."_s,
                              u"Pasting..."_s, u"Inserted translation."_s}));
        QCOMPARE(m->takeCalls(u"on"_s),
                 (QStringList{recordingOn, recordingOff, processingOn, processingOff}));
    }

    void theChosenLocaleIsRecognized() {
        c().setSourceLocaleIdentifier(u"es-ES"_s);
        c().hotKeyPressed();
        m->run();
        QCOMPARE(m->platform.speech.recognition().localeIdentifier, u"es-ES"_s);
    }

    void aTapStopsAsSoonAsTheStartReturns() {
        c().hotKeyPressed();
        c().hotKeyReleased();
        QVERIFY(!c().isRecording());
        m->run();
        QVERIFY(c().isProcessing());
        m->platform.queue.advance(1500ms);
        QCOMPARE(c().statusText(), u"No speech recognized."_s);
        QCOMPARE(m->takeCalls(u"on"_s),
                 (QStringList{recordingOn, recordingOff, processingOn, processingOff, attention}));
        QVERIFY(!c().isProcessing());
    }

    void releaseDuringThePermissionPromptStopsAsSoonAsTheStartReturns() {
        m->platform.permissions.replies = Replies::byHand;
        c().hotKeyPressed();
        m->run();
        c().hotKeyReleased();
        m->platform.permissions.speechRecognitionReplies.front()(true);
        m->run();
        m->platform.permissions.microphoneReplies.front()(true);
        m->run();
        QVERIFY(!c().isRecording());
        QVERIFY(c().isProcessing());
        QCOMPARE(c().statusText(), u"Finishing transcription..."_s);
    }

    // The hosted engine's connection.

    void theHostedEnginesConnectionIsOpenedWithTheFirstWord() {
        useBackend();
        c().hotKeyPressed();
        m->run();
        hear(u" "_s);
        QCOMPARE(m->takeCalls(u"http"_s), QStringList());
        hear(u"hel"_s);
        QCOMPARE(m->takeCalls(u"http"_s), prepared);
        QCOMPARE(c().statusText(), u"Listening..."_s);
        hear(u"hello"_s);
        QCOMPARE(m->takeCalls(u"http"_s), QStringList());
    }

    void theHostedEnginesConnectionIsAskedForAgainAtTheReleaseOfALongDictation() {
        useBackend();
        c().hotKeyPressed();
        m->run();
        hear(u"hel"_s);
        m->takeCalls();
        c().hotKeyReleased();
        m->run();
        QCOMPARE(m->takeCalls(u"(http|recognition.endAudio)"_s),
                 prepared + QStringList{u"recognition.endAudio"_s});
    }

    void aTapOpensNoConnection_data() {
        QTest::addColumn<std::function<void()>>("hold");
        QTest::newRow("at once") << std::function<void()>([] {});
        QTest::newRow("during the start") << std::function<void()>([this] { m->platform.queue.runOne(); });
        QTest::newRow("without a word") << std::function<void()>([this] { m->platform.queue.advance(1s); });
    }
    void aTapOpensNoConnection() {
        QFETCH(std::function<void()>, hold);
        useBackend();
        for (int i = 0; i < 2; ++i) {
            c().hotKeyPressed();
            hold();
            c().hotKeyReleased();
            m->platform.queue.advance(1500ms);
            QCOMPARE(c().statusText(), u"No speech recognized."_s);
        }
        QCOMPARE(m->takeCalls(u"http"_s), QStringList());
    }

    void everyRecordingOpensAConnectionOfItsOwn() {
        useBackend();
        for (int i = 0; i < 2; ++i) {
            c().hotKeyPressed();
            m->run();
            hear(u"hel"_s);
            QCOMPARE(m->takeCalls(u"http"_s), prepared);
            c().hotKeyReleased();
            m->platform.queue.advance(2s);
            m->takeCalls();
        }
    }

    void noConnectionIsOpenedForWhatTheHostedEngineIsNotAskedFor_data() {
        QTest::addColumn<std::function<void()>>("arrange");
        const auto row = [](const char *name, std::function<void()> arrange) {
            QTest::newRow(name) << std::move(arrange);
        };
        row("on this device", [this] { c().setTranslationEngineIdentifier(u"appleLocal"_s); });
        row("the same language", [this] { c().setTargetLanguageIdentifier(u"en"_s); });
        row("no microphone", [this] { m->platform.permissions.isMicrophoneGranted = false; });
        row("an invalid endpoint", [this] { c().setOpenAIEndpointString(u"my.example:8787/t"_s); });
        row("no endpoint", [this] { c().setOpenAIEndpointString({}); });
        row("the default endpoint", [this] { c().setOpenAIEndpointString(u" "_s + defaultEndpoint()); });
    }
    void noConnectionIsOpenedForWhatTheHostedEngineIsNotAskedFor() {
        QFETCH(std::function<void()>, arrange);
        useBackend();
        arrange();
        c().hotKeyPressed();
        m->run();
        if (c().isRecording())
            hear(u"hel"_s);
        m->platform.queue.advance(300ms);
        QCOMPARE(m->takeCalls(u"http"_s), QStringList());
    }

    void anUnsupportedPairOpensTheConnectionOfTheEngineThatWillBeAsked() {
        c().setOpenAIEndpointString(u"https://my.example/t"_s);
        c().setTargetLanguageIdentifier(u"kk"_s);
        c().hotKeyPressed();
        m->run();
        hear(u"hel"_s);
        QCOMPARE(m->takeCalls(u"http"_s), prepared);
    }

    void nothingIsOpenedButByARecording() {
        useBackend();
        m->takeCalls();
        c().setOpenAIEndpointString(u"https://other.example/t"_s);
        c().swapLanguages();
        c().prepareTranslationModels();
        c().pasteLastTranslation();
        m->run();
        QCOMPARE(m->takeCalls(u"http"_s), QStringList());
    }

    void aSecondPressWhileTheStartIsPendingIsIgnored() {
        m->platform.permissions.replies = Replies::byHand;
        c().hotKeyPressed();
        c().hotKeyPressed();
        m->run();
        QCOMPARE(m->platform.permissions.speechRecognitionReplies.size(), 1u);
    }

    void aPressAfterAReleaseWhileTheStartIsPendingIsIgnoredToo() {
        m->platform.permissions.replies = Replies::byHand;
        c().hotKeyPressed();
        c().hotKeyReleased();
        c().hotKeyPressed();
        QCOMPARE(m->platform.permissions.speechRecognitionReplies.size(), 1u);
        m->platform.permissions.speechRecognitionReplies.front()(true);
        m->run();
        m->platform.permissions.microphoneReplies.front()(true);
        m->run();
        QVERIFY(!c().isRecording());
    }

    void aReleaseWithoutAnAcceptedPressDoesNothing() {
        c().hotKeyReleased();
        m->run();
        QCOMPARE(m->takeCalls(), QStringList());
        QCOMPARE(c().statusText(), u"Ready."_s);
    }

    void deniedPermissionFailsTheStartAndTheReleaseDoesNothing() {
        m->platform.permissions.isMicrophoneGranted = false;
        c().hotKeyPressed();
        m->run();
        QCOMPARE(c().statusText(), u"Speech failed: Microphone permission was denied."_s);
        QCOMPARE(m->takeCalls(u"on"_s), QStringList{attention});
        c().hotKeyReleased();
        m->run();
        QCOMPARE(c().statusText(), u"Speech failed: Microphone permission was denied."_s);
        QCOMPARE(m->takeCalls(), QStringList());
    }

    void afterAFailedStartTheNextDictationWorks() {
        m->platform.speech.isAvailable = false;
        c().hotKeyPressed();
        m->run();
        QCOMPARE(c().statusText(), u"Speech failed: Speech recognizer is unavailable for en-US."_s);
        c().hotKeyReleased();
        m->platform.speech.isAvailable = true;
        m->dictate(u"hello"_s);
        QCOMPARE(c().statusText(), u"Inserted translation."_s);
    }

    void anEnginesOwnErrorIsShownAsItIs() {
        m->platform.microphoneFake.startError = u"The device is in use."_s;
        c().hotKeyPressed();
        m->run();
        QCOMPARE(c().statusText(), u"Speech failed: The device is in use."_s);
    }

    void aRecordingThatDiesEndsAsByAStopAndANotificationSaysWhy() {
        record();
        m->platform.speech.deliver(u"hello"_s);
        m->run();
        m->takeCalls();
        m->platform.microphoneFake.die(u"The microphone was disconnected."_s);
        m->run();
        QCOMPARE(m->takeCalls(),
                 (QStringList{u"onStateChanged recording=0 processing=0"_s,
                              u"onStateChanged recording=0 processing=1"_s, u"microphone.stop"_s,
                              u"recognition.endAudio"_s, u"notifications.show Dictation ended early"_s}));
        QCOMPARE(c().statusText(), u"Finishing transcription..."_s);
        m->platform.speech.deliverFinal(u"hello there"_s);
        m->run();
        QCOMPARE(c().transcriptText(), u"hello there"_s);
        QCOMPARE(c().statusText(), u"Inserted translation."_s);
    }

    void theNotificationSaysWhyAndWhatToDoButNothingThatWasSaid() {
        record();
        m->platform.speech.deliver(u"secret"_s);
        m->platform.microphoneFake.die(u"The sound server went away."_s);
        m->run();
        m->platform.speech.deliverFinal(u"secret words"_s);
        m->run();
        QCOMPARE(
            m->platform.notificationsFake.shown,
            (std::vector<platform::Notification>{
                {u"Dictation ended early"_s, u"The sound server went away. What was heard before is kept. "
                                             "Check the microphone, then dictate the rest."_s}}));
    }

    void aRecordingThatDiesBeforeTheFirstWordEndsWithoutText() {
        record();
        m->platform.microphoneFake.die(u"The microphone was disconnected."_s);
        m->platform.queue.advance(1500ms);
        QCOMPARE(c().statusText(), u"No speech recognized."_s);
        QVERIFY(!c().isProcessing());
    }

    void aRecordingOfThePanelsButtonEndsByItsDeathToo() {
        c().toggleRecording();
        m->run();
        m->platform.microphoneFake.die(u"The microphone was disconnected."_s);
        m->run();
        QVERIFY(!c().isRecording());
        QCOMPARE(m->platform.notificationsFake.shown.size(), 1U);
    }

    void theReleaseAfterADeathDoesNothingAndTheNextDictationWorks() {
        record();
        m->platform.microphoneFake.die(u"The microphone was disconnected."_s);
        m->run();
        m->platform.speech.deliverFinal(u"hello"_s);
        m->run();
        m->takeCalls();
        c().hotKeyReleased();
        m->run();
        QCOMPARE(m->takeCalls(), QStringList());
        m->dictate(u"again"_s);
        QCOMPARE(c().transcriptText(), u"again"_s);
        QCOMPARE(c().statusText(), u"Inserted translation."_s);
    }

    void aMicrophoneThatDiesTwiceEndsOneRecording() {
        record();
        m->platform.microphoneFake.die(u"The microphone was disconnected."_s);
        m->platform.microphoneFake.die(u"The sound server went away."_s);
        m->run();
        QCOMPARE(m->takeCalls(u"(notifications|microphone)"_s),
                 (QStringList{u"microphone.stop"_s, u"notifications.show Dictation ended early"_s}));
    }

    void aDeathAfterTheReleaseIsNotTold_data() {
        QTest::addColumn<bool>("isBefore");
        QTest::newRow("in the turn of the release") << true;
        QTest::newRow("while the last words are awaited") << false;
    }
    void aDeathAfterTheReleaseIsNotTold() {
        QFETCH(bool, isBefore);
        record();
        if (isBefore)
            m->platform.microphoneFake.die(u"The microphone was disconnected."_s);
        c().hotKeyReleased();
        m->platform.microphoneFake.die(u"The microphone was disconnected."_s);
        m->run();
        m->platform.speech.deliverFinal(u"hello"_s);
        m->run();
        QCOMPARE(m->platform.notificationsFake.shown.size(), 0U);
        QCOMPARE(c().statusText(), u"Inserted translation."_s);
    }

    void aMicrophoneThatDiesWhileAStartAsksForPermissionHarmsNothing() {
        m->platform.permissions.replies = Replies::byHand;
        c().hotKeyPressed();
        m->platform.microphoneFake.die(u"The microphone was disconnected."_s);
        m->platform.permissions.speechRecognitionReplies.front()(true);
        m->run();
        m->platform.permissions.microphoneReplies.front()(true);
        m->run();
        QVERIFY(c().isRecording());
        QCOMPARE(m->platform.notificationsFake.shown.size(), 0U);
    }

    void aRecordingThatDiesAtOnceWithTheKeyUpAlreadyEndsOnce() {
        m->platform.permissions.replies = Replies::byHand;
        c().hotKeyPressed();
        c().hotKeyReleased();
        m->platform.permissions.speechRecognitionReplies.front()(true);
        m->run();
        m->platform.permissions.microphoneReplies.front()(true);
        m->run();
        m->platform.microphoneFake.die(u"The microphone was disconnected."_s);
        m->run();
        QCOMPARE(m->takeCalls(u"(notifications|microphone)"_s),
                 (QStringList{u"microphone.capture frames=1024"_s, u"microphone.stop"_s}));
    }

    void hotKeyEventsAreIgnoredWhileAHotKeyIsCaptured() {
        c().startHotKeyRecording();
        m->takeCalls();
        c().hotKeyPressed();
        c().hotKeyReleased();
        m->run();
        QCOMPARE(m->takeCalls(), QStringList());
        QCOMPARE(c().statusText(), u"Press a shortcut with Ctrl, Option, or Cmd."_s);
    }

    void aReleaseWhileAHotKeyIsCapturedLeavesTheRecordingRunning() {
        // A capture can only begin while idle, so it begins while the start still asks for permission.
        c().hotKeyPressed();
        c().startHotKeyRecording();
        m->run();
        QVERIFY(c().isRecording());
        c().hotKeyReleased();
        m->run();
        QVERIFY(c().isRecording());
        c().toggleRecording();
        QVERIFY(!c().isRecording());
    }

    void toggleStartsAndStops() {
        c().toggleRecording();
        m->run();
        QVERIFY(c().isRecording());
        c().toggleRecording();
        QVERIFY(!c().isRecording());
        QVERIFY(c().isProcessing());
    }

    void toggleWhileProcessingDoesNothing() {
        c().toggleRecording();
        m->run();
        c().toggleRecording();
        m->takeCalls();
        c().toggleRecording();
        QCOMPARE(m->takeCalls(), QStringList());
        QCOMPARE(c().statusText(), u"Finishing transcription..."_s);
    }

    void aRecordingStartedFromThePanelIsNotEndedByTheHotKey() {
        c().toggleRecording();
        m->run();
        c().hotKeyPressed();
        c().hotKeyReleased();
        m->run();
        QVERIFY(c().isRecording());
    }

    void toggleEndsARecordingWhoseKeyIsHeldAndTheReleaseDoesNothing() {
        c().hotKeyPressed();
        m->run();
        c().toggleRecording();
        m->platform.speech.deliverFinal(u"hello"_s);
        m->run();
        m->takeCalls();
        c().hotKeyReleased();
        m->run();
        QCOMPARE(m->takeCalls(), QStringList());
        QCOMPARE(c().statusText(), u"Inserted translation."_s);
    }

    void aPressWhileProcessingIsIgnoredAndSoIsItsRelease() {
        c().hotKeyPressed();
        m->run();
        c().hotKeyReleased();
        m->takeCalls();
        c().hotKeyPressed();
        c().hotKeyReleased();
        QCOMPARE(m->takeCalls(), QStringList());
        QVERIFY(c().isProcessing());
    }

    void blanksAreNoSpeech() {
        m->dictate(u" \n\t "_s);
        QCOMPARE(c().statusText(), u"No speech recognized."_s);
        QCOMPARE(c().transcriptText(), QString());
        QCOMPARE(m->takeCalls(u"on"_s),
                 (QStringList{recordingOn, recordingOff, processingOn, processingOff, attention}));
    }

    void theShellHearsOfADictationBetweenItsTexts() {
        const QStringList heard = textsThatTheShellFinds(u"hello"_s);
        QCOMPARE(heard, (QStringList{u"Requesting microphone and speech access..."_s, u"Listening..."_s,
                                     u"Listening..."_s, u"Inserted translation."_s}));
    }

    void theShellHearsThatProcessingEndedBeforeTheTextSaysThatNothingWasHeard() {
        const QStringList heard = textsThatTheShellFinds(u" "_s);
        QCOMPARE(heard,
                 (QStringList{u"Requesting microphone and speech access..."_s, u"Listening..."_s,
                              u"Listening..."_s, u"Listening..."_s, u"attention: No speech recognized."_s}));
    }

    void theShellHearsOfAFailedStartAfterItsText() {
        m->platform.permissions.isMicrophoneGranted = false;
        QStringList heard;
        c().onNeedsAttention = [&] { heard += c().statusText(); };
        c().hotKeyPressed();
        m->run();
        QCOMPARE(heard, QStringList{u"Speech failed: Microphone permission was denied."_s});
    }

    void theShellHearsOfAFailedTranslationAfterItsText() {
        m->platform.translation.translationError = u"The engine broke."_s;
        const QStringList heard = textsThatTheShellFinds(u"hello"_s);
        QCOMPARE(heard.last(2), (QStringList{u"attention: Translation failed: The engine broke."_s,
                                             u"Translation failed: The engine broke."_s}));
    }

    void aStartClearsTheFormerTexts() {
        m->dictate(u"hello"_s);
        c().hotKeyPressed();
        QCOMPARE(c().transcriptText(), QString());
        QCOMPARE(c().translatedText(), QString());
    }

    void missingTrustAtTheStartIsSaidAndOverwrittenAtOnce() {
        m->platform.keystrokesFake.isTrustGranted = false;
        c().hotKeyPressed();
        QCOMPARE(m->takeStatuses(), (QStringList{u"Accessibility access is needed to paste."_s,
                                                 u"Requesting microphone and speech access..."_s}));
        m->run();
        QVERIFY(c().isRecording());
    }

    void anInterimTextSaysListening() {
        c().hotKeyPressed();
        m->run();
        c().setStatusText(u"something else"_s);
        m->platform.speech.deliver(u"hel"_s);
        m->run();
        QCOMPARE(c().statusText(), u"Listening..."_s);
    }

    void endingTheControllerAtEachSuspensionIsSafe_data() {
        QTest::addColumn<int>("suspension");
        for (int i = 0; i < 7; ++i)
            QTest::newRow(qPrintable(u"suspension %1"_s.arg(i))) << i;
    }
    void endingTheControllerAtEachSuspensionIsSafe() {
        QFETCH(int, suspension);
        m->platform.permissions.replies = Replies::byHand;
        m->platform.translation.replies = test::FakeTranslators::Replies::byHand;
        const std::vector<std::function<void()>> steps{
            [&] { c().hotKeyPressed(); },
            [&] { m->platform.permissions.speechRecognitionReplies.front()(true); },
            [&] { m->platform.permissions.microphoneReplies.front()(true); },
            [&] { c().hotKeyReleased(); },
            [&] { m->platform.speech.deliverFinal(u"hello"_s); },
            [&] { m->platform.translation.pendingPreparations.front().resume(true); },
            [&] { m->platform.translation.pendingTranslations.front().resume(u"hola"_s); }};
        for (int i = 0; i <= suspension; ++i) {
            steps[static_cast<size_t>(i)]();
            if (i < suspension)
                m->run();
        }
        m->endController();
        m->platform.queue.advance(5s);
        m->platform.permissions.speechRecognitionReplies.clear();
        m->platform.permissions.microphoneReplies.clear();
        m->platform.translation.pendingPreparations.clear();
        m->platform.translation.pendingTranslations.clear();
        m->platform.queue.advance(5s);
        QVERIFY(m->platform.queue.isIdle());
        QCOMPARE(m->takeCalls(u"pasteboard.write"_s), QStringList());
    }

    void aPermissionThatIsGivenAfterTheEndAsksForNothingMore() {
        m->platform.permissions.replies = Replies::byHand;
        c().hotKeyPressed();
        m->endController();
        m->takeCalls();
        m->platform.permissions.speechRecognitionReplies.front()(true);
        m->run();
        QCOMPARE(m->takeCalls(), QStringList());
    }

private:
    void record() {
        c().hotKeyPressed();
        m->run();
        QVERIFY(c().isRecording());
        m->takeCalls();
    }
    void useBackend() {
        c().setTranslationEngineIdentifier(u"openAINatural"_s);
        c().setOpenAIEndpointString(u"https://my.example/t"_s);
    }

    void hear(const QString &interimText) {
        m->platform.speech.deliver(interimText);
        m->run();
    }

    /// The status at each call to the shell during one dictation.
    QStringList textsThatTheShellFinds(const QString &spoken) {
        QStringList heard;
        c().onStateChanged = [&] { heard += c().statusText(); };
        c().onNeedsAttention = [&] { heard += u"attention: "_s + c().statusText(); };
        m->dictate(spoken);
        c().onStateChanged = nullptr;
        c().onNeedsAttention = nullptr;
        return heard;
    }

    AppController &c() { return *m->controller; }
    std::unique_ptr<ControllerFixture> m;
};

QTEST_GUILESS_MAIN(AppControllerRecordingTest)
#include "AppControllerRecordingTest.moc"
