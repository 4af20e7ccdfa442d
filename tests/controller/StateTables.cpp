#include "controller/StateTables.h"

#include <algorithm>
#include <array>
#include <utility>

using namespace Qt::StringLiterals;

namespace quillora::test {

namespace {

/// The beginnings of the statuses that tell of a failure: each calls for attention.
const std::array failures{
    u"Speech failed: "_s,       u"Translation failed: "_s, u"Translation setup failed: "_s,
    u"No speech recognized."_s, u"Could not register "_s,  u"Not copied: "_s,
    u"Not inserted: "_s};

bool tellsOfFailure(const QString &line) {
    const QString prefix = u"statusText="_s;
    return line.startsWith(prefix) && std::ranges::any_of(failures, [&](const QString &failure) {
               return QStringView(line).mid(prefix.size()).startsWith(failure);
           });
}

/// What stands behind the prefix, if the line begins with it.
std::optional<QString> after(const QString &prefix, const QString &line) {
    return line.startsWith(prefix) ? std::optional(line.mid(prefix.size())) : std::nullopt;
}

} // namespace

QString StateTables::broken(const QStringList &happened, const AppController &controller,
                            const FakePlatform &platform, bool isSettled) {
    for (qsizetype i = 0; i < happened.size(); ++i) {
        if (const QString rule = brokenBy(happened[i], happened.value(i + 1)); !rule.isNull())
            return u"%1 (%2)"_s.arg(rule, happened[i]);
    }
    return brokenAtRest(controller, platform, isSettled);
}

QString StateTables::brokenBy(const QString &line, const QString &next) {
    if (m_stopped && line != u"isProcessing=yes" && !line.startsWith(u"onStateChanged"))
        return u"between the end of a recording and its processing nothing happens"_s;
    if (tellsOfFailure(line) && next != u"onNeedsAttention")
        return u"whoever fails calls for attention"_s;

    if (line == u"onStateChanged recording=1 processing=1" && !m_isOverlapped)
        return u"nothing is processed while it is recorded"_s;
    if (line == u"onStateChanged recording=1 processing=0")
        return brokenWay(State::recording);
    if (line == u"onStateChanged recording=0 processing=1")
        return brokenWay(State::processing);
    if (line == u"onStateChanged recording=0 processing=0")
        return brokenWay(State::idle);

    if (const auto text = after(u"isProcessing="_s, line))
        m_isProcessing = *text == u"yes";
    else if (line == u"permissions.requestSpeechRecognition")
        return brokenStart();
    else if (line == u"statusText=Preparing translation models...")
        return brokenBeginning();
    else if (line == u"isRecording=yes" || line.startsWith(u"statusText=Speech failed: "))
        --m_starts;
    else if (const auto shown = after(u"translatedText="_s, line))
        m_translatedText = *shown;
    else if (line.startsWith(u"hotKey="))
        m_isHotKeyChanged = true;
    else if (line == u"pasteboard.save")
        ++m_pendingRestores;
    else if (line.startsWith(u"pasteboard.restore") && --m_pendingRestores < 0)
        return u"what is given back was saved"_s;
    else if (line == u"keystrokes.paste" && m_pendingRestores == 0)
        return u"keys are pressed only while the pasteboard is to be given back"_s;
    else if (const auto written = after(u"pasteboard.write "_s, line);
             written && *written != m_translatedText)
        return u"only the text that is shown is copied"_s;
    else if ((line.startsWith(u"http POST") || line.startsWith(u"session.translate")) && !m_isProcessing &&
             !m_isOverlapped)
        return u"nothing is translated but in processing"_s;
    return {};
}

/// What waits for permissions keeps nobody from beginning more.
QString StateTables::brokenBeginning() {
    m_isOverlapped |= m_starts > 0;
    if (m_isOverlapped && m_order == Order::oneByOne)
        return u"nothing begins by itself while a start waits"_s;
    return {};
}

QString StateTables::brokenStart() {
    const QString rule = brokenBeginning();
    ++m_starts;
    if (!m_isOverlapped && m_state != State::idle)
        return u"a dictation begins at rest alone"_s;
    return rule;
}

QString StateTables::brokenWay(State next) {
    if (m_isOverlapped)
        return {};
    const State former = std::exchange(m_state, next);
    const bool stopped = std::exchange(m_stopped, former == State::recording && next == State::idle);
    if (stopped && next != State::processing)
        return u"a recording that has ended is processed"_s;
    if (former == next)
        return u"the shell is told of changes alone"_s;
    if (former != State::idle && next != State::idle)
        return u"there is no way past the rest between recording and processing"_s;
    return {};
}

QString StateTables::brokenAtRest(const AppController &controller, const FakePlatform &platform,
                                  bool isSettled) {
    const bool isAsked = !platform.permissions.speechRecognitionReplies.empty() ||
                         !platform.permissions.microphoneReplies.empty();
    if (!m_isOverlapped && isSettled && !isAsked && isStarting())
        return u"a start comes to a recording or to a failure"_s;
    const auto stored = [&platform](const QString &key) {
        return platform.defaults.string(key).value_or(QString());
    };
    if (m_stopped)
        return u"a recording that has ended is processed in the same turn"_s;
    if (!m_isOverlapped && (controller.isRecording() != (m_state == State::recording) ||
                            controller.isProcessing() != (m_state == State::processing)))
        return u"the shell is told of every state"_s;
    if (isSettled && platform.microphoneFake.isCapturing() && !controller.isRecording())
        return u"the microphone is open only while recording"_s;
    if (!m_isOverlapped && controller.isRecording() && !controller.translatedText().isEmpty())
        return u"a recording begins without the last translation"_s;
    if (controller.hasPendingPasteboardRestore() != (m_pendingRestores > 0))
        return u"what was saved is to be given back until it is"_s;
    if (controller.selectedTranslationEngine() == TranslationEngine::appleLocal &&
        !controller.canUseAppleLocalForSelectedLanguagePair())
        return u"the engine on this computer is never chosen for a pair that it cannot have"_s;
    if (m_isHotKeyChanged && (controller.hotKey().storageValue() != stored(u"hotKey"_s)))
        return u"a hotkey that was chosen is the stored one"_s;
    if (m_isHotKeyChanged && !controller.hotKey().isUsable())
        return u"a hotkey that was chosen can be used"_s;
    if (controller.openAIEndpointString() != stored(u"openAIEndpointString"_s))
        return u"the endpoint is stored as it is typed"_s;
    return {};
}

} // namespace quillora::test
