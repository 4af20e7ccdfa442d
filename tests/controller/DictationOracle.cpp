#include "controller/DictationOracle.h"

#include <algorithm>
#include <utility>

namespace quillora::test {

void DictationOracle::press() {
    if (isRecordingHotKey || isRecording || isProcessing || m_isHeld || m_isStarting)
        return;
    m_isHeld = true;
    m_stopsAfterStart = false;
    m_isStarting = true;
    startRecording([this] {
        m_isStarting = false;
        if (m_stopsAfterStart || !m_isHeld) {
            m_stopsAfterStart = false;
            if (isRecording)
                stopRecording([] {});
        }
    });
}

void DictationOracle::release() {
    if (isRecordingHotKey)
        return;
    if (!m_isHeld && !m_isStarting)
        return;
    m_isHeld = false;
    if (m_isStarting) {
        m_stopsAfterStart = true;
        return;
    }
    if (isRecording)
        stopRecording([] {});
}

void DictationOracle::toggle() {
    if (isRecording)
        stopRecording([] {});
    else
        startRecording([] {});
}

void DictationOracle::startCapture() {
    if (isRecording || isProcessing)
        return;
    isRecordingHotKey = true;
    status = u"Press a shortcut with Ctrl, Option, or Cmd."_qs;
}

void DictationOracle::cancelCapture() {
    isRecordingHotKey = false;
    status = u"Hotkey unchanged."_qs;
}

void DictationOracle::chooseTarget(const QString &id) {
    target = id;
    calls += u"defaults.set targetLanguageIdentifier="_qs + id;
}

void DictationOracle::prepareModels() {
    if (isRecording || isProcessing)
        return;
    if (target == u"en") {
        status = u"Same language selected; no translation model needed."_qs;
        return;
    }
    setProcessing(true);
    status = u"Preparing translation models..."_qs;
    bridge(
        std::nullopt,
        [this](const QString &) {
            status = u"Translation models are ready."_qs;
            setProcessing(false);
        },
        [this](const QString &error) {
            status = u"Translation setup failed: "_qs + error;
            needAttention();
            setProcessing(false);
        });
}

void DictationOracle::pasteLast() {
    if (translated.isEmpty())
        return;
    pasteOrCopy(translated, u"Inserted translation."_qs,
                u"Copied translation. Enable Accessibility to auto-paste."_qs);
}

void DictationOracle::setRecording(bool value) {
    isRecording = value;
    calls += u"onStateChanged recording=%1 processing=%2"_qs.arg(isRecording).arg(isProcessing);
}

void DictationOracle::setProcessing(bool value) {
    isProcessing = value;
    calls += u"onStateChanged recording=%1 processing=%2"_qs.arg(isRecording).arg(isProcessing);
}

void DictationOracle::startRecording(const Next &next) {
    if (isRecording || isProcessing)
        return next();
    transcript.clear();
    translated.clear();
    status = u"Requesting microphone and speech access..."_qs;
    serviceStart(
        [this, next] {
            setRecording(true);
            status = u"Listening..."_qs;
            next();
        },
        [this, next](const QString &error) {
            status = u"Speech failed: "_qs + error;
            needAttention();
            next();
        });
}

void DictationOracle::stopRecording(const Next &next) {
    if (!isRecording)
        return next();
    setRecording(false);
    setProcessing(true);
    status = u"Finishing transcription..."_qs;
    serviceStop([this, next](const QString &text) {
        transcript = text.trimmed();
        if (!transcript.isEmpty())
            return translateAndPaste(transcript, next);
        setProcessing(false);
        status = u"No speech recognized."_qs;
        needAttention();
        next();
    });
}

void DictationOracle::translateAndPaste(const QString &text, const Next &next) {
    if (target == u"en") {
        translated = text;
        pasteOrCopy(text, u"Inserted transcript."_qs,
                    u"Copied transcript. Enable Accessibility to auto-paste."_qs);
        setProcessing(false);
        return next();
    }
    status = u"Translating locally..."_qs;
    bridge(
        text,
        [this, next](const QString &result) {
            translated = result;
            pasteOrCopy(result, u"Inserted translation."_qs,
                        u"Copied translation. Enable Accessibility to auto-paste."_qs);
            setProcessing(false);
            next();
        },
        [this, next](const QString &error) {
            status = u"Translation failed: "_qs + error;
            needAttention();
            setProcessing(false);
            next();
        });
}

void DictationOracle::pasteOrCopy(const QString &text, const QString &inserted, const QString &copied) {
    const auto put = [this, text] {
        calls += u"pasteboard.clear"_qs;
        calls += u"pasteboard.setString "_qs + text;
        m_pasteboard = text;
    };
    if (!isTrusted) {
        put();
        if (!m_didPrompt) {
            m_didPrompt = true;
            calls += u"keystrokes.prompt"_qs;
        }
        status = copied;
        return;
    }
    calls += u"pasteboard.items"_qs;
    const auto saved = m_pasteboard;
    put();
    calls += u"activate editor"_qs;
    post([] {}); // the desktop reports the activation, which changes nothing: the editor was in front already
    after(150, [this, saved] {
        calls += u"keystrokes.post down 9 flags=0x100000 tap=0"_qs;
        calls += u"keystrokes.post up 9 flags=0x100000 tap=0"_qs;
        after(800, [this, saved] {
            calls += u"pasteboard.clear"_qs;
            m_pasteboard = saved;
            if (saved)
                calls += u"pasteboard.write 1"_qs;
        });
    });
    status = inserted;
}

void DictationOracle::serviceStart(const Next &next, const Failed &failed) {
    calls += u"speech.requestAuthorization"_qs;
    authorizations.push_back({[this, next, failed] {
                                  calls += u"speech.requestMicrophoneAccess"_qs;
                                  microphones.push_back(
                                      {[this, next, failed] {
                                           serviceCleanup(true);
                                           calls += u"speech.makeRecognizer en-US"_qs;
                                           if (!isRecognizerAvailable)
                                               return failed(u"Speech recognizer is unavailable "
                                                             "for en-US."_qs);
                                           calls += u"speech.makeBufferRequest"_qs;
                                           m_hasRequest = true;
                                           m_lastTranscript.clear();
                                           if (!hasChannels)
                                               return failed(u"No microphone input format is available."_qs);
                                           calls += u"audio.removeTap bus=0"_qs;
                                           calls += u"audio.installTap bus=0 frames=1024 "
                                                    "rate=48000 channels=1"_qs;
                                           calls += u"recognizer.task partial=1 hint=1"_qs;
                                           m_hasTask = true;
                                           ++recognitionCount;
                                           calls += u"audio.prepare"_qs;
                                           calls += u"audio.start"_qs;
                                           if (engineStartError)
                                               return failed(*engineStartError);
                                           m_engineRuns = true;
                                           m_serviceRuns = true;
                                           next();
                                       },
                                       failed});
                              },
                              failed});
}

void DictationOracle::serviceStop(const std::function<void(const QString &)> &next) {
    if (!m_serviceRuns)
        return next(m_lastTranscript);
    m_serviceRuns = false;
    m_engineRuns = false;
    calls += u"audio.stop"_qs;
    calls += u"audio.removeTap bus=0"_qs;
    m_finalWaiter = next;
    if (m_hasRequest)
        calls += u"request.endAudio"_qs;
    m_timeout = after(1500, [this] { post([this] { serviceFinish(true); }); });
}

void DictationOracle::serviceFinish(bool cancelsTask) {
    if (!m_finalWaiter)
        return;
    if (m_timeout)
        *std::exchange(m_timeout, nullptr) = true;
    post([waiter = std::exchange(m_finalWaiter, nullptr), text = m_lastTranscript] { waiter(text); });
    serviceCleanup(cancelsTask);
}

void DictationOracle::serviceCleanup(bool cancelsTask) {
    if (m_engineRuns) {
        calls += u"audio.stop"_qs;
        m_engineRuns = false;
    }
    calls += u"audio.removeTap bus=0"_qs;
    if (cancelsTask && m_hasTask)
        calls += u"task.cancel"_qs;
    m_hasTask = false;
    m_hasRequest = false;
    if (m_timeout)
        *std::exchange(m_timeout, nullptr) = true;
}

void DictationOracle::bridge(const std::optional<QString> &text,
                             const std::function<void(const QString &)> &done, const Failed &failed) {
    if (m_job)
        return failed(u"A translation is already running."_qs);
    m_job = std::make_shared<Job>(Job{text, done, failed});
    calls += u"translation.task en>"_qs + target;
    post([this] { performJob(); });
}

void DictationOracle::performJob() {
    if (!m_job)
        return;
    const auto job = m_job;
    const Failed failed = [this, job](const QString &error) {
        post([job, error] { job->failed(error); });
        m_job.reset();
    };
    const auto done = [this, job](const QString &text) {
        post([job, text] { job->done(text); });
        m_job.reset();
    };
    calls += u"session.prepare"_qs;
    preparations.push_back({[this, job, done, failed] {
                                if (!job->text)
                                    return done({});
                                calls += u"session.translate "_qs + *job->text;
                                translations.push_back({done, failed});
                            },
                            failed});
}

void DictationOracle::answer(std::deque<Question> &questions, const std::optional<QString> &refusal) {
    const auto question = questions.front();
    questions.pop_front();
    if (refusal)
        post([no = question.no, error = *refusal] { no(error); });
    else
        post(question.yes);
}

void DictationOracle::answerTranslation(const std::optional<QString> &text, const QString &failure) {
    const auto translation = translations.front();
    translations.pop_front();
    if (text)
        post([done = translation.done, result = *text] { done(result); });
    else
        post([failed = translation.failed, failure] { failed(failure); });
}

void DictationOracle::deliver(const std::optional<QString> &text, bool isFinal, bool isError) {
    post([this, text, isFinal, isError] {
        if (text) {
            m_lastTranscript = *text;
            transcript = *text;
            status = u"Listening..."_qs;
            if (isFinal)
                return serviceFinish(false);
        }
        if (isError)
            serviceFinish(true);
    });
}

std::shared_ptr<bool> DictationOracle::after(int milliseconds, Next work) {
    auto isCancelled = std::make_shared<bool>(false);
    m_timers.push_back({m_now + milliseconds, m_order++, std::move(work), isCancelled});
    return isCancelled;
}

bool DictationOracle::runOne() {
    if (m_posted.empty())
        return false;
    const auto work = std::move(m_posted.front());
    m_posted.pop_front();
    work();
    return true;
}

void DictationOracle::run() {
    while (runOne()) {
    }
}

void DictationOracle::advance(int milliseconds) {
    const int end = m_now + milliseconds;
    run();
    for (;;) {
        std::erase_if(m_timers, [](const Timer &timer) { return *timer.isCancelled; });
        const auto next =
            std::min_element(m_timers.begin(), m_timers.end(), [](const Timer &a, const Timer &b) {
                return std::pair(a.due, a.order) < std::pair(b.due, b.order);
            });
        if (next == m_timers.end() || next->due > end)
            break;
        const Timer timer = *next;
        m_timers.erase(next);
        m_now = timer.due;
        timer.work();
        run();
    }
    m_now = end;
}

} // namespace quillora::test
