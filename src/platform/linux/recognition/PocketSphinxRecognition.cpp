#include "platform/linux/recognition/PocketSphinxRecognition.h"

#include "platform/MainQueue.h"
#include "platform/Platform.h"
#include "platform/linux/recognition/PocketSphinxRecognizer.h"
#include "platform/linux/recognition/PocketSphinxRequest.h"
#include "platform/linux/sound/PulseAudioEngine.h"

#include <utility>

namespace quillora::platform {

namespace {

const QString onlyLocale = u"en-US"_qs;

} // namespace

PocketSphinxRecognition::PocketSphinxRecognition(std::shared_ptr<PulseConnection> sound, QStringList folders)
    : m_sound(std::move(sound)), m_folders(std::move(folders)) {
    if (const auto data = PocketSphinxData::find(m_folders))
        load(*data);
}

PocketSphinxRecognition::~PocketSphinxRecognition() = default;

void PocketSphinxRecognition::requestAuthorization(std::function<void(SpeechAuthorizationStatus)> reply) {
    Platform::current().mainQueue().async(
        [reply = std::move(reply)] { reply(SpeechAuthorizationStatus::authorized); });
}

void PocketSphinxRecognition::requestMicrophoneAccess(std::function<void(bool granted)> reply) {
    // The replies stay on the main thread: what they hold may only be touched and let go there.
    m_accessReplies->push_back(std::move(reply));
    m_sound->refresh(
        [this, &mainQueue = Platform::current().mainQueue(), replies = std::weak_ptr(m_accessReplies)] {
            mainQueue.async([this, replies] {
                const auto waiting = replies.lock(); // none if this has ended
                if (!waiting)
                    return;
                const bool isGranted = m_microphoneSwitch.allowsRecording();
                for (const auto &answer : std::exchange(*waiting, {}))
                    answer(isGranted);
            });
        });
}

QStringList PocketSphinxRecognition::supportedLocales() const {
    if (isModelLoaded() || PocketSphinxData::find(m_folders))
        return {onlyLocale};
    return {};
}

std::unique_ptr<SpeechRecognizer> PocketSphinxRecognition::makeRecognizer(const QString &localeIdentifier) {
    if (localeIdentifier != onlyLocale)
        return nullptr;
    reloadChangedData();
    if (!m_thread)
        return nullptr;
    return std::make_unique<PocketSphinxRecognizer>(m_thread);
}

std::shared_ptr<AudioBufferRecognitionRequest> PocketSphinxRecognition::makeBufferRequest() {
    return std::make_shared<PocketSphinxRequest>(m_sound->drain());
}

std::unique_ptr<AudioEngine> PocketSphinxRecognition::makeAudioEngine() {
    return std::make_unique<PulseAudioEngine>(m_sound);
}

bool PocketSphinxRecognition::isModelLoaded() const {
    return m_thread && m_thread->modelState() == RecognitionThread::ModelState::ready;
}

void PocketSphinxRecognition::load(const PocketSphinxData &data) {
    m_loadedFrom = data.fingerprint();
    if (m_thread)
        m_thread->reload(data);
    else
        m_thread = std::make_shared<RecognitionThread>(data);
}

/// A model that could not be loaded is tried again once its files have changed: they may be whole now.
void PocketSphinxRecognition::reloadChangedData() {
    if (m_thread && m_thread->modelState() != RecognitionThread::ModelState::failed)
        return;
    const auto data = PocketSphinxData::find(m_folders);
    if (data && data->fingerprint() != m_loadedFrom)
        load(*data);
}

} // namespace quillora::platform
