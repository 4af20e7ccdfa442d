#pragma once

#include "platform/SpeechRecognition.h"
#include "support/ChildProcess.h"

#include <QTest>
#include <QThread>

#include <memory>
#include <mutex>
#include <vector>

namespace quillora::test {

/// The world around one implementation of SpeechRecognition.
class SpeechRecognitionHarness {
public:
    virtual ~SpeechRecognitionHarness() = default;

    virtual platform::SpeechRecognition &speech() = 0;

    /// Lets the main queue do what was posted to it.
    virtual void turn() = 0;

    /// A recognizer hears a whole sentence on this request, word by word, and then the end of the audio.
    virtual void hearSentence(platform::AudioBufferRecognitionRequest &request) = 0;

    /// Loads of time for a recognizer to say what it may have to say.
    virtual void letRecognitionsFinish() = 0;
};

/// What every SpeechRecognition does.
class SpeechRecognitionContract : public QObject {
    Q_OBJECT

protected:
    virtual std::unique_ptr<SpeechRecognitionHarness> makeHarness() = 0;

private Q_SLOTS:
    void init() { m_harness = makeHarness(); }
    void cleanup() { m_harness.reset(); }

    void authorizationIsAnsweredLaterAndOnTheMainThread() {
        std::vector<platform::SpeechAuthorizationStatus> answers;
        QThread *answeredOn = nullptr;
        speech().requestAuthorization([&](auto status) {
            answers.push_back(status);
            answeredOn = QThread::currentThread();
        });
        QVERIFY(answers.empty());
        QVERIFY(eventually([&] { return !answers.empty(); }));
        QCOMPARE(answers, std::vector{platform::SpeechAuthorizationStatus::authorized});
        QCOMPARE(answeredOn, QThread::currentThread());
    }

    void microphoneAccessIsAnsweredLaterAndOnTheMainThread() {
        std::vector<bool> answers;
        QThread *answeredOn = nullptr;
        speech().requestMicrophoneAccess([&](bool granted) {
            answers.push_back(granted);
            answeredOn = QThread::currentThread();
        });
        QVERIFY(answers.empty());
        QVERIFY(eventually([&] { return !answers.empty(); }));
        QCOMPARE(answers, std::vector{true});
        QCOMPARE(answeredOn, QThread::currentThread());
    }

    void whoAsksAgainInTheAnswerIsAnsweredToo() {
        int answers = 0;
        speech().requestMicrophoneAccess([&](bool) {
            ++answers;
            speech().requestMicrophoneAccess([&](bool) { ++answers; });
        });
        QVERIFY(eventually([&] { return answers == 2; }));
    }

    void aSupportedLocaleHasARecognizer() {
        QCOMPARE(speech().supportedLocales(), QStringList{u"en-US"_qs});
        const auto recognizer = speech().makeRecognizer(u"en-US"_qs);
        QVERIFY(recognizer);
        QVERIFY(recognizer->isAvailable());
    }

    void anUnknownLocaleHasNone() { QVERIFY(!speech().makeRecognizer(u"tlh-001"_qs)); }

    void interimTextsAreFollowedByOneFinalText() {
        const auto request = begin();
        m_harness->hearSentence(*request);
        QVERIFY(eventually([&] { return isFinal(); }));
        const std::lock_guard lock(m_told->mutex);
        const auto &results = m_told->results;
        QVERIFY(results.size() > 1);
        for (size_t i = 0; i + 1 < results.size(); ++i)
            QVERIFY(!results[i].isFinal);
        QVERIFY(!results.back().formattedString.isEmpty());
        QCOMPARE(m_told->errors, 0);
    }

    void aCancelledRecognitionHasNoFinalText() {
        const auto request = begin();
        m_task->cancel();
        m_harness->hearSentence(*request);
        m_harness->letRecognitionsFinish();
        QVERIFY(!isFinal());
    }

    void droppingTheTaskDoesNotEndTheRecognition() {
        const auto request = begin();
        m_task.reset();
        m_harness->hearSentence(*request);
        QVERIFY(eventually([&] { return isFinal(); }));
    }

    void theAudioEngineIsReadyButDoesNotRun() {
        const auto engine = speech().makeAudioEngine();
        QVERIFY(engine);
        QVERIFY(!engine->isRunning());
    }

private:
    struct Told {
        std::mutex mutex;
        std::vector<platform::RecognitionResult> results;
        int errors = 0;
    };

    platform::SpeechRecognition &speech() { return m_harness->speech(); }

    std::shared_ptr<platform::AudioBufferRecognitionRequest> begin() {
        m_told = std::make_shared<Told>();
        auto request = speech().makeBufferRequest();
        request->shouldReportPartialResults = true;
        m_task = speech()
                     .makeRecognizer(u"en-US"_qs)
                     ->recognitionTask(request, [told = m_told](const auto &result, const auto &error) {
                         const std::lock_guard lock(told->mutex);
                         if (result)
                             told->results.push_back(*result);
                         told->errors += error.has_value();
                     });
        return request;
    }
    bool isFinal() const {
        const std::lock_guard lock(m_told->mutex);
        return !m_told->results.empty() && m_told->results.back().isFinal;
    }
    bool eventually(const std::function<bool()> &condition) {
        return ChildProcess::waitUntil(
            [&] {
                m_harness->turn();
                return condition();
            },
            30000);
    }

    std::unique_ptr<SpeechRecognitionHarness> m_harness;
    std::unique_ptr<platform::RecognitionTask> m_task;
    std::shared_ptr<Told> m_told;
};

} // namespace quillora::test
