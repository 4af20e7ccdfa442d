#include "speech/SpeechRecognizerService.h"
#include "fakes/FakePlatform.h"
#include "speech/SpeechRecognizerServiceError.h"
#include "support/Outcome.h"

#include <QTest>

using namespace Qt::StringLiterals;
using namespace quillora;
using test::Outcome;
using Replies = test::FakeSpeechPermissions::Replies;
using namespace std::chrono_literals;

class SpeechRecognizerServiceTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init() {
        m_platform = std::make_unique<test::FakePlatform>();
        m_service = std::make_unique<SpeechRecognizerService>();
        m_deaths.clear();
        connect(m_service.get(), &SpeechRecognizerService::captureDied, this,
                [this](const QString &reason) { m_deaths += reason; });
        m_partials.clear();
    }
    void cleanup() {
        m_service.reset();
        m_platform->run();
        m_platform.reset();
    }

    void aStartGoesThroughItsStepsInOrder() {
        const auto outcome = start();
        m_platform->run();
        QVERIFY(outcome->isDone());
        QCOMPARE(outcome->error(), QString());
        QCOMPARE(calls(),
                 (QStringList{u"permissions.requestSpeechRecognition"_s, u"permissions.requestMicrophone"_s,
                              u"recognizers.makeRecognizer en-US"_s, u"recognizer.recognize"_s,
                              u"microphone.capture frames=1024"_s}));
    }

    void soundReachesTheRecognitionFromTheFirstBuffer() {
        startAndRun();
        const platform::AudioBuffer buffer{{48000, 1}, {1, 2, 3}};
        microphone().speak(buffer);
        QCOMPARE(m_platform->speech.recognition().buffers, std::vector{buffer});
    }

    void soundReachesTheRecognitionWithoutACopy() {
        startAndRun();
        platform::AudioBuffer buffer{{48000, 1}, {1, 2, 3}};
        const auto *samples = buffer.samples.data();
        microphone().speak(std::move(buffer));
        QCOMPARE(m_platform->speech.recognition().buffers.front().samples.data(), samples);
    }

    void everyTranscriptReachesTheCallerOnTheMainThread() {
        startAndRun();
        m_platform->speech.deliver(u"he"_s);
        QVERIFY(m_partials.isEmpty());
        m_platform->speech.deliver(u"he was"_s);
        m_platform->run();
        QCOMPARE(m_partials, (QStringList{u"he"_s, u"he was"_s}));
    }

    void stopWithoutAStartReturnsNothingAtOnce() {
        const auto outcome = Outcome<QString>::of(m_service->stop());
        QVERIFY(outcome->isDone());
        QCOMPARE(outcome->value(), QString());
        QCOMPARE(calls(), QStringList());
    }

    void stopEndsTheCaptureBeforeTheAudio() {
        startAndRun();
        const auto outcome = stop();
        QCOMPARE(calls(), (QStringList{u"microphone.stop"_s, u"recognition.endAudio"_s}));
        QVERIFY(!outcome->isDone());
        m_platform->queue.advance(1500ms);
    }

    void aFinalResultAfterTheStopIsReturnedAndCancelsTheTimeOut() {
        startAndRun();
        m_platform->speech.deliver(u"he was"_s);
        const auto outcome = stop();
        m_platform->queue.advance(200ms);
        m_platform->log.clear();
        m_platform->speech.deliverFinal(u"he was not"_s);
        m_platform->run();
        QCOMPARE(outcome->value(), u"he was not"_s);
        QCOMPARE(m_partials.last(), u"he was not"_s);
        QVERIFY(!m_platform->speech.recognition().isCancelled);
        QCOMPARE(m_platform->queue.delayedCount(), 0);
        QCOMPARE(calls(), QStringList());
    }

    void withoutAFinalResultTheLastTranscriptIsReturnedAfterOneAndAHalfSeconds() {
        startAndRun();
        m_platform->speech.deliver(u"he was"_s);
        m_platform->run();
        const auto outcome = stop();
        m_platform->queue.advance(1499ms);
        QVERIFY(!outcome->isDone());
        m_platform->queue.advance(1ms);
        QCOMPARE(outcome->value(), u"he was"_s);
        QVERIFY(m_platform->speech.recognition().isCancelled);
    }

    void aTranscriptThatComesWhileTheStopWaitsIsTheOneReturned() {
        startAndRun();
        const auto outcome = stop();
        m_platform->queue.advance(1s);
        m_platform->speech.deliver(u"late"_s);
        m_platform->queue.advance(500ms);
        QCOMPARE(m_partials, QStringList{u"late"_s});
        QCOMPARE(outcome->value(), u"late"_s);
    }

    void anErrorEndsTheWaitingStopAndCancelsTheRecognition() {
        startAndRun();
        m_platform->speech.deliver(u"he was"_s);
        const auto outcome = stop();
        m_platform->speech.deliverError(u"broken"_s);
        m_platform->run();
        QCOMPARE(outcome->value(), u"he was"_s);
        QVERIFY(m_platform->speech.recognition().isCancelled);
        QCOMPARE(m_platform->queue.delayedCount(), 0);
    }

    void aFinalResultWinsOverAnErrorInTheSameCallback() {
        startAndRun();
        const auto outcome = stop();
        m_platform->speech.recognition().handler(platform::RecognitionResult{u"done"_s, true},
                                                 LocalizedError(u"broken"_s));
        m_platform->run();
        QCOMPARE(outcome->value(), u"done"_s);
        QVERIFY(!m_platform->speech.recognition().isCancelled);
    }

    void anErrorWithAnInterimResultCountsAsAnError() {
        startAndRun();
        const auto outcome = stop();
        m_platform->speech.recognition().handler(platform::RecognitionResult{u"so far"_s, false},
                                                 LocalizedError(u"broken"_s));
        m_platform->run();
        QCOMPARE(outcome->value(), u"so far"_s);
        QVERIFY(m_platform->speech.recognition().isCancelled);
    }

    void theStopReturnsOnceHoweverManyFinishersCome() {
        startAndRun();
        const auto outcome = stop();
        m_platform->speech.deliverFinal(u"first"_s);
        m_platform->speech.deliverError(u"second"_s);
        m_platform->queue.advance(2s);
        QCOMPARE(outcome->value(), u"first"_s);
        QVERIFY(!m_platform->speech.recognition().isCancelled);
    }

    void aSecondStopReturnsTheLastTranscriptAtOnce() {
        startAndRun();
        m_platform->speech.deliver(u"he was"_s);
        m_platform->run();
        const auto first = stop();
        const auto second = Outcome<QString>::of(m_service->stop());
        QCOMPARE(second->value(), u"he was"_s);
        QVERIFY(!first->isDone());
        m_platform->queue.advance(1500ms);
        QCOMPARE(first->value(), u"he was"_s);
    }

    void everyFurtherStopReturnsTheLastTranscript() {
        startAndRun();
        const auto first = stop();
        m_platform->speech.deliverFinal(u"he was young"_s);
        m_platform->run();
        QCOMPARE(first->value(), u"he was young"_s);
        for (int i = 0; i < 2; ++i)
            QCOMPARE(Outcome<QString>::of(m_service->stop())->value(), u"he was young"_s);
    }

    void aStopThatAnotherDictationsStopOvertakesReturnsNothingUntilTheServiceEnds() {
        startAndRun();
        const auto overtaken = stop();
        startAndRun();
        const auto stopped = stop();
        m_platform->speech.deliverFinal(u"hello"_s);
        m_platform->run();
        QCOMPARE(stopped->value(), u"hello"_s);
        QVERIFY(!overtaken->isDone());

        m_service.reset();
        m_platform->run();
        QVERIFY(overtaken->isDone());
        QCOMPARE(overtaken->value(), QString());
    }

    void aRecognizerThatFinishesByItselfChangesOnlyTheTranscript() {
        startAndRun();
        m_platform->speech.deliverFinal(u"by itself"_s);
        m_platform->run();
        QCOMPARE(m_partials, QStringList{u"by itself"_s});
        QVERIFY(microphone().isCapturing());
        const auto outcome = stop();
        m_platform->queue.advance(1499ms);
        QVERIFY(!outcome->isDone());
        m_platform->queue.advance(1ms);
        QCOMPARE(outcome->value(), u"by itself"_s);
    }

    void anErrorWhileRecordingChangesNothingAndTheStopReturnsTheWordsSoFar() {
        startAndRun();
        m_platform->speech.deliver(u"so far"_s);
        m_platform->speech.deliverError(u"broken"_s);
        m_platform->run();
        QCOMPARE(m_partials, QStringList{u"so far"_s});
        QVERIFY(microphone().isCapturing());
        const auto outcome = stop();
        m_platform->queue.advance(1499ms);
        QVERIFY(!outcome->isDone());
        m_platform->queue.advance(1ms);
        QCOMPARE(outcome->value(), u"so far"_s);
    }

    void anUnknownLocaleIsNamedAsItWasPassed() {
        const auto outcome = Outcome<>::of(m_service->start(u"xx_YY weird"_s, {}));
        m_platform->run();
        QCOMPARE(outcome->error(), u"Speech recognizer does not support xx_YY weird."_s);
    }

    void anUnavailableRecognizerIsNamedAfterTheFormerDictationIsClearedAway() {
        startAndRun();
        m_platform->speech.isAvailable = false;
        const auto outcome = start();
        m_platform->run();
        QCOMPARE(outcome->error(), u"Speech recognizer is unavailable for en-US."_s);
        QCOMPARE(calls(), (QStringList{u"permissions.requestSpeechRecognition"_s,
                                       u"permissions.requestMicrophone"_s, u"microphone.stop"_s,
                                       u"recognition.cancel"_s, u"recognizers.makeRecognizer en-US"_s}));
    }

    void deniedSpeechPermissionNeverAsksForTheMicrophone() {
        m_platform->permissions.isSpeechRecognitionGranted = false;
        const auto outcome = start();
        m_platform->run();
        QCOMPARE(outcome->error(), u"Speech recognition permission was denied."_s);
        QCOMPARE(calls(), QStringList{u"permissions.requestSpeechRecognition"_s});
    }

    void deniedMicrophoneTouchesNoAudio() {
        m_platform->permissions.isMicrophoneGranted = false;
        const auto outcome = start();
        m_platform->run();
        QCOMPARE(outcome->error(), u"Microphone permission was denied."_s);
        QCOMPARE(calls(), (QStringList{u"permissions.requestSpeechRecognition"_s,
                                       u"permissions.requestMicrophone"_s}));
    }

    void aMicrophoneWithoutChannelsIsUnavailable() {
        microphone().inputFormat = {48000, 0};
        const auto outcome = start();
        m_platform->run();
        QCOMPARE(outcome->error(), u"No microphone input format is available."_s);
        QVERIFY(!microphone().isCapturing());
    }

    void theSampleRateIsNotExamined() {
        microphone().inputFormat = {0, 2};
        const auto outcome = start();
        m_platform->run();
        QCOMPARE(outcome->error(), QString());
    }

    void aCaptureThatDoesNotStartLeavesTheRecognitionToTheNextStart() {
        microphone().startError = u"The device is in use."_s;
        const auto outcome = start();
        m_platform->run();
        QCOMPARE(outcome->error(), u"The device is in use."_s);
        QVERIFY(!m_platform->speech.recognition().isCancelled);
        const auto stopped = Outcome<QString>::of(m_service->stop());
        QCOMPARE(stopped->value(), QString());

        microphone().startError.reset();
        const auto first = m_platform->speech.recognitions.back();
        startAndRun();
        QVERIFY(first->isCancelled);
        QVERIFY(microphone().isCapturing());
    }

    void aCaptureThatDiesIsToldOnceAndNothingElseChanges() {
        startAndRun();
        microphone().die(u"The microphone was disconnected."_s);
        QCOMPARE(m_deaths, QStringList());
        microphone().die(u"The sound server went away."_s);
        m_platform->run();
        QCOMPARE(m_deaths, QStringList{u"The microphone was disconnected."_s});
        QCOMPARE(calls(), QStringList());
    }

    void aStopAfterADeathGoesAsEver() {
        startAndRun();
        m_platform->speech.deliver(u"he was"_s);
        microphone().die(u"The microphone was disconnected."_s);
        m_platform->run();
        const auto outcome = stop();
        QCOMPARE(calls(), (QStringList{u"microphone.stop"_s, u"recognition.endAudio"_s}));
        m_platform->speech.deliverFinal(u"he was not"_s);
        m_platform->run();
        QCOMPARE(outcome->value(), u"he was not"_s);
    }

    void aDeathThatTheStopOvertakesIsNotTold() {
        startAndRun();
        microphone().die(u"The microphone was disconnected."_s);
        stop();
        m_platform->queue.advance(1500ms);
        QCOMPARE(m_deaths, QStringList());
    }

    void aDeathWhileTheStopWaitsIsNotTold() {
        startAndRun();
        stop();
        microphone().die(u"The microphone was disconnected."_s);
        m_platform->queue.advance(1500ms);
        QCOMPARE(m_deaths, QStringList());
    }

    void theDeathOfAFormerCaptureIsNotTheNextOnes() {
        startAndRun();
        m_platform->permissions.replies = Replies::byHand;
        const auto outcome = start();
        m_platform->permissions.speechRecognitionReplies.front()(true);
        m_platform->run();
        m_platform->permissions.microphoneReplies.front()(true);
        microphone().die(u"The microphone was disconnected."_s); // comes after the start has gone on
        m_platform->run();
        QVERIFY(outcome->isDone());
        QVERIFY(microphone().isCapturing());
        QCOMPARE(m_deaths, QStringList());
    }

    void aStartClearsTheFormerTranscript() {
        startAndRun();
        m_platform->speech.deliver(u"old"_s);
        m_platform->run();
        stop();
        m_platform->queue.advance(1500ms);
        startAndRun();
        const auto outcome = stop();
        m_platform->queue.advance(1500ms);
        QCOMPARE(outcome->value(), QString());
    }

    void endingTheServiceAtEachSuspensionIsSafe_data() {
        QTest::addColumn<int>("suspension");
        QTest::newRow("asking for speech") << 0;
        QTest::newRow("asking for the microphone") << 1;
        QTest::newRow("waiting for the final result") << 2;
    }
    void endingTheServiceAtEachSuspensionIsSafe() {
        QFETCH(int, suspension);
        if (suspension < 2) {
            m_platform->permissions.replies = Replies::byHand;
            const auto outcome = start();
            if (suspension == 1) {
                m_platform->permissions.speechRecognitionReplies.front()(true);
                m_platform->run();
            }
            m_service.reset();
            if (suspension == 0)
                m_platform->permissions.speechRecognitionReplies.front()(true);
            else
                m_platform->permissions.microphoneReplies.front()(true);
            m_platform->run();
            QCOMPARE(outcome->error(), u"The operation was abandoned."_s);
        } else {
            startAndRun();
            m_platform->speech.deliver(u"so far"_s);
            m_platform->run();
            const auto outcome = stop();
            m_service.reset();
            m_platform->speech.deliver(u"too late"_s);
            m_platform->queue.advance(2s);
            QCOMPARE(outcome->value(), u"so far"_s);
            QCOMPARE(m_partials, QStringList{u"so far"_s});
        }
    }

    void aServiceThatHasEndedDoesNotAskForTheMicrophone() {
        m_platform->permissions.replies = Replies::byHand;
        const auto outcome = start();
        m_service.reset();
        calls();
        m_platform->permissions.speechRecognitionReplies.front()(true);
        m_platform->run();
        QCOMPARE(calls(), QStringList());
    }

    void endingTheServiceWhileRecordingEndsTheCapture() {
        startAndRun();
        const auto recognition = m_platform->speech.recognitions.back();
        m_service.reset();
        QVERIFY(recognition->isCancelled);
        QCOMPARE(calls(), (QStringList{u"microphone.stop"_s, u"recognition.cancel"_s}));
    }

    void aPermissionReplyThatNeverComesFailsTheStart() {
        m_platform->permissions.replies = Replies::byHand;
        const auto outcome = start();
        m_platform->permissions.speechRecognitionReplies.clear();
        m_platform->run();
        QCOMPARE(outcome->error(), u"The operation was abandoned."_s);
    }

private:
    std::shared_ptr<Outcome<>> start() {
        m_platform->log.clear();
        return Outcome<>::of(
            m_service->start(u"en-US"_s, [this](const QString &text) { m_partials += text; }));
    }
    void startAndRun() {
        const auto outcome = start();
        m_platform->run();
        QVERIFY(outcome->isDone());
        QCOMPARE(outcome->error(), QString());
        m_platform->log.clear();
    }
    std::shared_ptr<Outcome<QString>> stop() { return Outcome<QString>::of(m_service->stop()); }
    test::FakeMicrophone &microphone() { return m_platform->microphoneFake; }
    QStringList calls() { return m_platform->log.take(); }

    std::unique_ptr<test::FakePlatform> m_platform;
    std::unique_ptr<SpeechRecognizerService> m_service;
    QStringList m_partials;
    QStringList m_deaths;
};

QTEST_GUILESS_MAIN(SpeechRecognizerServiceTest)
#include "SpeechRecognizerServiceTest.moc"
