#include "controller/ControllerFixture.h"
#include "controller/HostedEndpoint.h"

#include <QTest>

#include <functional>

using namespace quillora;
using test::ControllerFixture;
using Replies = test::FakeSpeechPermissions::Replies;
using namespace std::chrono_literals;

namespace {

const QString recordingOn = u"onStateChanged recording=1 processing=0"_qs;
const QString recordingOff = u"onStateChanged recording=0 processing=0"_qs;
const QString processingOn = u"onStateChanged recording=0 processing=1"_qs;
const QString processingOff = u"onStateChanged recording=0 processing=0"_qs;
const QString attention = u"onNeedsAttention"_qs;
const QStringList prepared{u"http prepare https://my.example/t"_qs};

} // namespace

class AppControllerRecordingTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init() { m = std::make_unique<ControllerFixture>(); }
    void cleanup() { m.reset(); }

    void pressHoldReleaseTranscribesAndTranslates() {
        c().hotKeyPressed();
        QCOMPARE(c().statusText(), u"Requesting microphone and speech access..."_qs);
        m->run();
        QVERIFY(c().isRecording());
        m->platform.speech.deliver(u"hel"_qs);
        m->run();
        QCOMPARE(c().transcriptText(), u"hel"_qs);
        c().hotKeyReleased();
        QVERIFY(!c().isRecording());
        QVERIFY(c().isProcessing());
        m->platform.speech.deliverFinal(u" hello \n"_qs);
        m->run();
        QCOMPARE(c().transcriptText(), u"hello"_qs);
        QCOMPARE(c().translatedText(), u"<hello>"_qs);
        QVERIFY(!c().isProcessing());
        // The final text comes the way of the interim ones, so it says that it listens once more.
        QCOMPARE(m->takeStatuses(),
                 (QStringList{u"Ready."_qs, u"Requesting microphone and speech access..."_qs,
                              u"Listening..."_qs, u"Finishing transcription..."_qs, u"Listening..."_qs,
                              u"Translating locally..."_qs, u"Pasting..."_qs, u"Inserted translation."_qs}));
        QCOMPARE(m->takeCalls(u"on"_qs),
                 (QStringList{recordingOn, recordingOff, processingOn, processingOff}));
    }

    void theChosenLocaleIsRecognized() {
        c().setSourceLocaleIdentifier(u"es-ES"_qs);
        c().hotKeyPressed();
        m->run();
        QCOMPARE(m->platform.speech.recognition().localeIdentifier, u"es-ES"_qs);
    }

    void aTapStopsAsSoonAsTheStartReturns() {
        c().hotKeyPressed();
        c().hotKeyReleased();
        QVERIFY(!c().isRecording());
        m->run();
        QVERIFY(c().isProcessing());
        m->platform.queue.advance(1500ms);
        QCOMPARE(c().statusText(), u"No speech recognized."_qs);
        QCOMPARE(m->takeCalls(u"on"_qs),
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
        QCOMPARE(c().statusText(), u"Finishing transcription..."_qs);
    }

    // The hosted engine's connection.

    void theHostedEnginesConnectionIsOpenedWithTheFirstWord() {
        useBackend();
        c().hotKeyPressed();
        m->run();
        hear(u" "_qs);
        QCOMPARE(m->takeCalls(u"http"_qs), QStringList());
        hear(u"hel"_qs);
        QCOMPARE(m->takeCalls(u"http"_qs), prepared);
        QCOMPARE(c().statusText(), u"Listening..."_qs);
        hear(u"hello"_qs);
        QCOMPARE(m->takeCalls(u"http"_qs), QStringList());
    }

    void theHostedEnginesConnectionIsAskedForAgainAtTheReleaseOfALongDictation() {
        useBackend();
        c().hotKeyPressed();
        m->run();
        hear(u"hel"_qs);
        m->takeCalls();
        c().hotKeyReleased();
        m->run();
        QCOMPARE(m->takeCalls(u"(http|recognition.endAudio)"_qs),
                 prepared + QStringList{u"recognition.endAudio"_qs});
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
            QCOMPARE(c().statusText(), u"No speech recognized."_qs);
        }
        QCOMPARE(m->takeCalls(u"http"_qs), QStringList());
    }

    void everyRecordingOpensAConnectionOfItsOwn() {
        useBackend();
        for (int i = 0; i < 2; ++i) {
            c().hotKeyPressed();
            m->run();
            hear(u"hel"_qs);
            QCOMPARE(m->takeCalls(u"http"_qs), prepared);
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
        row("on this device", [this] { c().setTranslationEngineIdentifier(u"appleLocal"_qs); });
        row("the same language", [this] { c().setTargetLanguageIdentifier(u"en"_qs); });
        row("no microphone", [this] { m->platform.permissions.isMicrophoneGranted = false; });
        row("an invalid endpoint", [this] { c().setOpenAIEndpointString(u"my.example:8787/t"_qs); });
        row("no endpoint", [this] { c().setOpenAIEndpointString({}); });
        row("the default endpoint", [this] { c().setOpenAIEndpointString(u" "_qs + defaultEndpoint()); });
    }
    void noConnectionIsOpenedForWhatTheHostedEngineIsNotAskedFor() {
        QFETCH(std::function<void()>, arrange);
        useBackend();
        arrange();
        c().hotKeyPressed();
        m->run();
        if (c().isRecording())
            hear(u"hel"_qs);
        m->platform.queue.advance(300ms);
        QCOMPARE(m->takeCalls(u"http"_qs), QStringList());
    }

    void anUnsupportedPairOpensTheConnectionOfTheEngineThatWillBeAsked() {
        c().setOpenAIEndpointString(u"https://my.example/t"_qs);
        c().setTargetLanguageIdentifier(u"kk"_qs);
        c().hotKeyPressed();
        m->run();
        hear(u"hel"_qs);
        QCOMPARE(m->takeCalls(u"http"_qs), prepared);
    }

    void nothingIsOpenedButByARecording() {
        useBackend();
        m->takeCalls();
        c().setOpenAIEndpointString(u"https://other.example/t"_qs);
        c().swapLanguages();
        c().prepareTranslationModels();
        c().pasteLastTranslation();
        m->run();
        QCOMPARE(m->takeCalls(u"http"_qs), QStringList());
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
        QCOMPARE(c().statusText(), u"Ready."_qs);
    }

    void deniedPermissionFailsTheStartAndTheReleaseDoesNothing() {
        m->platform.permissions.isMicrophoneGranted = false;
        c().hotKeyPressed();
        m->run();
        QCOMPARE(c().statusText(), u"Speech failed: Microphone permission was denied."_qs);
        QCOMPARE(m->takeCalls(u"on"_qs), QStringList{attention});
        c().hotKeyReleased();
        m->run();
        QCOMPARE(c().statusText(), u"Speech failed: Microphone permission was denied."_qs);
        QCOMPARE(m->takeCalls(), QStringList());
    }

    void afterAFailedStartTheNextDictationWorks() {
        m->platform.speech.isAvailable = false;
        c().hotKeyPressed();
        m->run();
        QCOMPARE(c().statusText(), u"Speech failed: Speech recognizer is unavailable for en-US."_qs);
        c().hotKeyReleased();
        m->platform.speech.isAvailable = true;
        m->dictate(u"hello"_qs);
        QCOMPARE(c().statusText(), u"Inserted translation."_qs);
    }

    void anEnginesOwnErrorIsShownAsItIs() {
        m->platform.microphoneFake.startError = u"The device is in use."_qs;
        c().hotKeyPressed();
        m->run();
        QCOMPARE(c().statusText(), u"Speech failed: The device is in use."_qs);
    }

    void aRecordingThatDiesEndsAsByAStopAndANotificationSaysWhy() {
        record();
        m->platform.speech.deliver(u"hello"_qs);
        m->run();
        m->takeCalls();
        m->platform.microphoneFake.die(u"The microphone was disconnected."_qs);
        m->run();
        QCOMPARE(m->takeCalls(),
                 (QStringList{u"onStateChanged recording=0 processing=0"_qs,
                              u"onStateChanged recording=0 processing=1"_qs, u"microphone.stop"_qs,
                              u"recognition.endAudio"_qs, u"notifications.show Dictation ended early"_qs}));
        QCOMPARE(c().statusText(), u"Finishing transcription..."_qs);
        m->platform.speech.deliverFinal(u"hello there"_qs);
        m->run();
        QCOMPARE(c().transcriptText(), u"hello there"_qs);
        QCOMPARE(c().statusText(), u"Inserted translation."_qs);
    }

    void theNotificationSaysWhyAndWhatToDoButNothingThatWasSaid() {
        record();
        m->platform.speech.deliver(u"secret"_qs);
        m->platform.microphoneFake.die(u"The sound server went away."_qs);
        m->run();
        m->platform.speech.deliverFinal(u"secret words"_qs);
        m->run();
        QCOMPARE(
            m->platform.notificationsFake.shown,
            (std::vector<platform::Notification>{
                {u"Dictation ended early"_qs, u"The sound server went away. What was heard before is kept. "
                                              "Check the microphone, then dictate the rest."_qs}}));
    }

    void aRecordingThatDiesBeforeTheFirstWordEndsWithoutText() {
        record();
        m->platform.microphoneFake.die(u"The microphone was disconnected."_qs);
        m->platform.queue.advance(1500ms);
        QCOMPARE(c().statusText(), u"No speech recognized."_qs);
        QVERIFY(!c().isProcessing());
    }

    void aRecordingOfThePanelsButtonEndsByItsDeathToo() {
        c().toggleRecording();
        m->run();
        m->platform.microphoneFake.die(u"The microphone was disconnected."_qs);
        m->run();
        QVERIFY(!c().isRecording());
        QCOMPARE(m->platform.notificationsFake.shown.size(), 1U);
    }

    void theReleaseAfterADeathDoesNothingAndTheNextDictationWorks() {
        record();
        m->platform.microphoneFake.die(u"The microphone was disconnected."_qs);
        m->run();
        m->platform.speech.deliverFinal(u"hello"_qs);
        m->run();
        m->takeCalls();
        c().hotKeyReleased();
        m->run();
        QCOMPARE(m->takeCalls(), QStringList());
        m->dictate(u"again"_qs);
        QCOMPARE(c().transcriptText(), u"again"_qs);
        QCOMPARE(c().statusText(), u"Inserted translation."_qs);
    }

    void aMicrophoneThatDiesTwiceEndsOneRecording() {
        record();
        m->platform.microphoneFake.die(u"The microphone was disconnected."_qs);
        m->platform.microphoneFake.die(u"The sound server went away."_qs);
        m->run();
        QCOMPARE(m->takeCalls(u"(notifications|microphone)"_qs),
                 (QStringList{u"microphone.stop"_qs, u"notifications.show Dictation ended early"_qs}));
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
            m->platform.microphoneFake.die(u"The microphone was disconnected."_qs);
        c().hotKeyReleased();
        m->platform.microphoneFake.die(u"The microphone was disconnected."_qs);
        m->run();
        m->platform.speech.deliverFinal(u"hello"_qs);
        m->run();
        QCOMPARE(m->platform.notificationsFake.shown.size(), 0U);
        QCOMPARE(c().statusText(), u"Inserted translation."_qs);
    }

    void aMicrophoneThatDiesWhileAStartAsksForPermissionHarmsNothing() {
        m->platform.permissions.replies = Replies::byHand;
        c().hotKeyPressed();
        m->platform.microphoneFake.die(u"The microphone was disconnected."_qs);
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
        m->platform.microphoneFake.die(u"The microphone was disconnected."_qs);
        m->run();
        QCOMPARE(m->takeCalls(u"(notifications|microphone)"_qs),
                 (QStringList{u"microphone.capture frames=1024"_qs, u"microphone.stop"_qs}));
    }

    void hotKeyEventsAreIgnoredWhileAHotKeyIsCaptured() {
        c().startHotKeyRecording();
        m->takeCalls();
        c().hotKeyPressed();
        c().hotKeyReleased();
        m->run();
        QCOMPARE(m->takeCalls(), QStringList());
        QCOMPARE(c().statusText(), u"Press a shortcut with Ctrl, Option, or Cmd."_qs);
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
        QCOMPARE(c().statusText(), u"Finishing transcription..."_qs);
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
        m->platform.speech.deliverFinal(u"hello"_qs);
        m->run();
        m->takeCalls();
        c().hotKeyReleased();
        m->run();
        QCOMPARE(m->takeCalls(), QStringList());
        QCOMPARE(c().statusText(), u"Inserted translation."_qs);
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
        m->dictate(u" \n\t "_qs);
        QCOMPARE(c().statusText(), u"No speech recognized."_qs);
        QCOMPARE(c().transcriptText(), QString());
        QCOMPARE(m->takeCalls(u"on"_qs),
                 (QStringList{recordingOn, recordingOff, processingOn, processingOff, attention}));
    }

    void theShellHearsOfADictationBetweenItsTexts() {
        const QStringList heard = textsThatTheShellFinds(u"hello"_qs);
        QCOMPARE(heard, (QStringList{u"Requesting microphone and speech access..."_qs, u"Listening..."_qs,
                                     u"Listening..."_qs, u"Inserted translation."_qs}));
    }

    void theShellHearsThatProcessingEndedBeforeTheTextSaysThatNothingWasHeard() {
        const QStringList heard = textsThatTheShellFinds(u" "_qs);
        QCOMPARE(heard, (QStringList{u"Requesting microphone and speech access..."_qs, u"Listening..."_qs,
                                     u"Listening..."_qs, u"Listening..."_qs,
                                     u"attention: No speech recognized."_qs}));
    }

    void theShellHearsOfAFailedStartAfterItsText() {
        m->platform.permissions.isMicrophoneGranted = false;
        QStringList heard;
        c().onNeedsAttention = [&] { heard += c().statusText(); };
        c().hotKeyPressed();
        m->run();
        QCOMPARE(heard, QStringList{u"Speech failed: Microphone permission was denied."_qs});
    }

    void theShellHearsOfAFailedTranslationAfterItsText() {
        m->platform.translation.translationError = u"The engine broke."_qs;
        const QStringList heard = textsThatTheShellFinds(u"hello"_qs);
        QCOMPARE(heard.last(2), (QStringList{u"attention: Translation failed: The engine broke."_qs,
                                             u"Translation failed: The engine broke."_qs}));
    }

    void aStartClearsTheFormerTexts() {
        m->dictate(u"hello"_qs);
        c().hotKeyPressed();
        QCOMPARE(c().transcriptText(), QString());
        QCOMPARE(c().translatedText(), QString());
    }

    void missingTrustAtTheStartIsSaidAndOverwrittenAtOnce() {
        m->platform.keystrokesFake.isTrustGranted = false;
        c().hotKeyPressed();
        QCOMPARE(m->takeStatuses(), (QStringList{u"Accessibility access is needed to paste."_qs,
                                                 u"Requesting microphone and speech access..."_qs}));
        m->run();
        QVERIFY(c().isRecording());
    }

    void anInterimTextSaysListening() {
        c().hotKeyPressed();
        m->run();
        c().setStatusText(u"something else"_qs);
        m->platform.speech.deliver(u"hel"_qs);
        m->run();
        QCOMPARE(c().statusText(), u"Listening..."_qs);
    }

    void endingTheControllerAtEachSuspensionIsSafe_data() {
        QTest::addColumn<int>("suspension");
        for (int i = 0; i < 7; ++i)
            QTest::newRow(qPrintable(u"suspension %1"_qs.arg(i))) << i;
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
            [&] { m->platform.speech.deliverFinal(u"hello"_qs); },
            [&] { m->platform.translation.pendingPreparations.front().resume(true); },
            [&] { m->platform.translation.pendingTranslations.front().resume(u"hola"_qs); }};
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
        QCOMPARE(m->takeCalls(u"pasteboard.write"_qs), QStringList());
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
        c().setTranslationEngineIdentifier(u"openAINatural"_qs);
        c().setOpenAIEndpointString(u"https://my.example/t"_qs);
    }

    void hear(const QString &interimText) {
        m->platform.speech.deliver(interimText);
        m->run();
    }

    /// The status at each call to the shell during one dictation.
    QStringList textsThatTheShellFinds(const QString &spoken) {
        QStringList heard;
        c().onStateChanged = [&] { heard += c().statusText(); };
        c().onNeedsAttention = [&] { heard += u"attention: "_qs + c().statusText(); };
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
