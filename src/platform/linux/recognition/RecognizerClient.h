#pragma once

#include "platform/linux/Worker.h"
#include "platform/linux/recognition/Dictation.h"
#include "platform/linux/recognition/RecognitionJob.h"
#include "platform/linux/recognition/RecognizerModel.h"
#include "platform/linux/recognition/RecognizerProcess.h"

#include <atomic>
#include <chrono>
#include <deque>
#include <list>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace quillora::platform {

/// Recognizes one dictation after the other in a process of its own, on a thread that speaks to it. Any
/// thread.
///
/// A process that dies, hangs or talks nonsense in the middle of a dictation is replaced once; the new one
/// gets the sound since the last settled text.
class RecognizerClient {
public:
    enum class ModelState {
        loading,
        ready, ///< it can be loaded, though the process may have ended meanwhile
        failed
    };

    struct Limits {
        /// How long a process may be silent that the machine lets run, besides three times as long as it
        /// should take to decode.
        std::chrono::milliseconds silence = std::chrono::seconds(3);
        std::chrono::milliseconds loading = std::chrono::minutes(1);
        /// How long a model is tried while somebody waits behind that, instead of as long as it loads.
        std::chrono::milliseconds trial = std::chrono::seconds(9);
        /// How long it stays without anything to do.
        std::chrono::milliseconds idleness = std::chrono::minutes(10);
        std::chrono::seconds keptSound = std::chrono::minutes(10);
    };

    explicit RecognizerClient(const std::string &program) : RecognizerClient(program, Limits()) {}
    /// When it goes it ends the process, and what is under way with an error. It waits for the process's
    /// death alone, which comes at once as a rule, and 600 ms at most. `dictationEnded` is called whenever
    /// one is over, for whatever reason, on any thread.
    RecognizerClient(std::string program, Limits limits, std::function<void()> dictationEnded = [] {});
    RecognizerClient(const RecognizerClient &) = delete;
    RecognizerClient &operator=(const RecognizerClient &) = delete;

    /// Begins to load the first of `models` that can be loaded, the best one first.
    void load(std::vector<RecognizerModel> models);

    ModelState modelState() const { return m_loadsToCome > 0 ? ModelState::loading : m_modelState.load(); }

    /// The dictation's turn comes when all earlier ones have ended and the model is loaded.
    std::shared_ptr<RecognitionJob> recognize(RecognitionHandler handler);

    /// Whether there is a dictation that is not over.
    bool isInUse() const { return m_dictationCount > 0; }

private:
    using Clock = std::chrono::steady_clock;

    /// What the process has to say next, besides texts.
    struct Expected {
        enum class Kind { opening, heard, finished, tried } kind;
        std::chrono::milliseconds patience; ///< with it
        std::uint32_t dictation = 0;        ///< that it is about

        bool isAnsweredBy(Kind answer, std::uint32_t number) const {
            return kind == answer && dictation == number;
        }
    };

    void run(Worker &worker);
    void accept(std::shared_ptr<RecognitionJob> job, std::shared_ptr<void> underWay);
    void takeSound();
    void beginAnew();
    void start();
    void converse(const Worker &worker);
    void speak();
    void tryModel();
    void speakOf(Dictation &dictation);
    void send(const recognizer::Command &command);
    void expect(const Expected &expected);
    void waitForEvents(const Worker &worker);
    void listen();
    void take(const recognizer::Ready &ready);
    void take(const recognizer::Refused &refused);
    void take(const recognizer::Heard &heard);
    void take(const recognizer::Interim &interim);
    void take(const recognizer::Settled &settled);
    void take(const recognizer::Finished &finished);
    void take(const recognizer::Tried &tried);
    void answered(Expected::Kind kind, std::uint32_t dictation = 0);
    Dictation *dictation(std::uint32_t number);
    bool isBusyWithDictation() const;
    bool isTrialAhead() const;
    bool isBusyForNobody();
    void processDied(const Worker &worker);
    void judgeModel(const Worker &worker);
    void noProcess(const QString &description);
    void memoryRanOut();
    bool isModelWrong(const Worker &worker);
    void modelFailed(const QString &description);
    void takeNextModel(const QString &description);
    void failAll(const QString &description);
    void dropProcess();
    void noteAnswer();
    std::chrono::milliseconds decoding(std::size_t samples) const;
    std::chrono::milliseconds patience() const;
    Clock::time_point deadline() const;
    bool isOverdue();

    const std::string m_program;
    const Limits m_limits;
    const std::function<void()> m_dictationEnded;
    std::atomic<int> m_dictationCount = 0; ///< of those that are not over
    std::atomic<ModelState> m_modelState = ModelState::loading;
    std::atomic<int> m_loadsToCome = 0; ///< on their way to the thread

    // Of the thread.
    std::deque<RecognizerModel> m_models;      ///< the one to load at the front
    std::optional<ModelJudgement> m_judgement; ///< of that one, once it has been asked for
    bool m_isTried = false;                    ///< that one, or is being tried
    bool m_isWanted = false;                   ///< a process, though nobody dictates
    std::optional<RecognizerProcess> m_process;
    bool m_isReady = false;                 ///< the model is loaded
    std::deque<recognizer::Bytes> m_outbox; ///< for which there has been no room
    std::deque<Expected> m_unanswered;
    Clock::time_point m_lastAnswer;
    std::chrono::milliseconds m_starved{}; ///< the process, until then
    QString m_failure;                     ///< why no model could be loaded
    int m_deathsInARow = 0;                ///< without any sound decoded between them, or a trial
    int m_lostInARow = 0;                  ///< dictations, to two deaths each, without a whole one between
    std::list<Dictation> m_dictations;     ///< the one under way at the front
    std::uint32_t m_lastNumber = 0;

    Worker m_worker;
};

} // namespace quillora::platform
