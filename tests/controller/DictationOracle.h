#pragma once

#include <QString>
#include <QStringList>

#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

namespace quillora::test {

/// What a dictation must do, step by step, written without a coroutine, an object of the product or a fake:
/// every operation takes what comes after it as a function. The walk compares it with the real thing.
class DictationOracle {
public:
    using Next = std::function<void()>;
    using Failed = std::function<void(const QString &)>;

    // What the world is like.
    bool isTrusted = true;
    bool isRecognizerAvailable = true;
    bool hasChannels = true;
    std::optional<QString> engineStartError;

    // What the user sees.
    bool isRecording = false;
    bool isProcessing = false;
    bool isRecordingHotKey = false;
    QString status = u"Ready."_qs;
    QString transcript;
    QString translated;
    QString target = u"ru"_qs;
    QStringList calls;

    // Questions that wait for an answer, oldest first.
    struct Question {
        Next yes;
        Failed no;
    };
    std::deque<Question> authorizations;
    std::deque<Question> microphones;
    std::deque<Question> preparations;
    struct Translation {
        std::function<void(const QString &)> done;
        Failed failed;
    };
    std::deque<Translation> translations;
    int recognitionCount = 0;

    // Events of the user.
    void press();
    void release();
    void toggle();
    void startCapture();
    void cancelCapture();
    void prepareModels();
    void pasteLast();
    void chooseTarget(const QString &id);

    // Events of the platform. Answers reach their waiter in a later turn.
    void answer(std::deque<Question> &questions, const std::optional<QString> &refusal);
    void answerTranslation(const std::optional<QString> &text, const QString &failure);
    void deliver(const std::optional<QString> &text, bool isFinal, bool isError);

    bool runOne();
    void run();
    void advance(int milliseconds);

private:
    struct Timer {
        int due;
        int order;
        Next work;
        std::shared_ptr<bool> isCancelled;
    };

    void post(Next work) { m_posted.push_back(std::move(work)); }
    std::shared_ptr<bool> after(int milliseconds, Next work);
    void setRecording(bool value);
    void setProcessing(bool value);
    void needAttention() { calls += u"onNeedsAttention"_qs; }

    void startRecording(const Next &next);
    void stopRecording(const Next &next);
    void translateAndPaste(const QString &text, const Next &next);
    void pasteOrCopy(const QString &text, const QString &inserted, const QString &copied);

    void serviceStart(const Next &next, const Failed &failed);
    void serviceStop(const std::function<void(const QString &)> &next);
    void serviceFinish(bool cancelsTask);
    void serviceCleanup(bool cancelsTask);

    void bridge(const std::optional<QString> &text, const std::function<void(const QString &)> &done,
                const Failed &failed);
    void performJob();

    // The hold flags.
    bool m_isHeld = false;
    bool m_isStarting = false;
    bool m_stopsAfterStart = false;
    bool m_didPrompt = false;

    // The speech service.
    bool m_engineRuns = false;
    bool m_serviceRuns = false;
    bool m_hasTask = false;
    bool m_hasRequest = false;
    QString m_lastTranscript;
    std::function<void(const QString &)> m_finalWaiter;
    std::shared_ptr<bool> m_timeout;

    // The translation bridge: at most one job.
    struct Job {
        std::optional<QString> text;
        std::function<void(const QString &)> done;
        Failed failed;
    };
    std::shared_ptr<Job> m_job;

    // The pasteboard holds plain texts only in this world.
    std::optional<QString> m_pasteboard;

    std::deque<Next> m_posted;
    std::vector<Timer> m_timers;
    int m_now = 0;
    int m_order = 0;
};

} // namespace quillora::test
