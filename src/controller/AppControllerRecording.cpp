#include "controller/AppController.h"

#include "controller/Attempt.h"
#include "platform/Detached.h"
#include "platform/Notifications.h"
#include "platform/Platform.h"

#include <QPointer>

using namespace Qt::StringLiterals;

namespace quillora {

namespace {

bool isBlank(const QString &text) { return text.trimmed().isEmpty(); }

} // namespace

QCoro::Task<> AppController::hotKeyPressed() {
    if (m_isRecordingHotKey || m_isRecording || m_isProcessing || m_isHotKeyHeld ||
        m_isStartingHotKeyRecording)
        co_return;
    const QPointer<AppController> self(this);
    m_isHotKeyHeld = true;
    m_shouldStopAfterHotKeyStart = false;
    m_isStartingHotKeyRecording = true;
    co_await startRecording();
    if (!self)
        co_return;
    m_isStartingHotKeyRecording = false;
    if (m_shouldStopAfterHotKeyStart || !m_isHotKeyHeld) {
        m_shouldStopAfterHotKeyStart = false;
        if (m_isRecording)
            co_await stopRecording();
    }
}

QCoro::Task<> AppController::hotKeyReleased() {
    if (m_isRecordingHotKey)
        co_return;
    if (!m_isHotKeyHeld && !m_isStartingHotKeyRecording)
        co_return;
    m_isHotKeyHeld = false;
    if (m_isStartingHotKeyRecording) {
        // The press that is still starting completes the stop.
        m_shouldStopAfterHotKeyStart = true;
        co_return;
    }
    if (m_isRecording)
        co_await stopRecording();
}

QCoro::Task<> AppController::toggleRecording() {
    if (m_isRecording)
        co_await stopRecording();
    else
        co_await startRecording();
}

QCoro::Task<> AppController::startRecording() {
    if (m_isRecording || m_isProcessing || m_isEnding)
        co_return;
    ++m_startsUnderWay;
    refreshKeychainQuestion();
    ++m_dictationCount;
    captureTargetApplication();
    if (!m_pasteboardInserter.hasAccessibilityAccess())
        setStatusText(u"Accessibility access is needed to paste."_s);
    setTranscriptText({});
    setTranslatedText({});
    setStatusText(u"Requesting microphone and speech access..."_s);

    const QPointer<AppController> self(this);
    auto start = m_speechService.start(selectedSource().id, [self](const QString &partial) {
        if (!self)
            return;
        const bool isFirstWord = isBlank(self->m_transcriptText) && !isBlank(partial);
        self->setTranscriptText(partial);
        self->setStatusText(u"Listening..."_s);
        if (isFirstWord)
            self->prepareHostedTranslation();
    });
    const auto started = co_await attempt(std::move(start));
    if (!self)
        co_return;
    --m_startsUnderWay;
    refreshKeychainQuestion();
    if (!started.hasSucceeded()) {
        fail(u"Speech failed: "_s + started.failure);
        co_return;
    }
    setRecording(true);
    setStatusText(u"Listening..."_s);
    warmLocalTranslation(); // only now: the microphone does not wait for it
}

QCoro::Task<> AppController::stopRecording() {
    if (!m_isRecording)
        co_return;
    setRecording(false);
    setProcessing(true);
    setStatusText(u"Finishing transcription..."_s);
    if (!isBlank(m_transcriptText))
        prepareHostedTranslation(); // what was opened with the first word is not kept for long

    const QPointer<AppController> self(this);
    const QString transcript = (co_await m_speechService.stop()).trimmed();
    if (!self)
        co_return;
    setTranscriptText(transcript);
    if (!transcript.isEmpty()) {
        co_await translateAndPaste(transcript);
        co_return;
    }
    setProcessing(false);
    fail(u"No speech recognized."_s);
}

void AppController::endDeadRecording(const QString &reason) {
    platform::detach(stopRecording());
    platform::Platform::current().notifications().show(
        {u"Dictation ended early"_s,
         reason + u" What was heard before is kept. Check the microphone, then dictate the rest."_s});
}

} // namespace quillora
