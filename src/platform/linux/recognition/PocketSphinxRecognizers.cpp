#include "platform/linux/recognition/PocketSphinxRecognizers.h"

#include "platform/linux/recognition/PocketSphinxRecognizer.h"

#include <utility>

namespace quillora::platform {

namespace {

const QString onlyLocale = u"en-US"_qs;

} // namespace

PocketSphinxRecognizers::PocketSphinxRecognizers(std::shared_ptr<CaptureDrain> drain, QStringList folders)
    : m_drain(std::move(drain)), m_folders(std::move(folders)) {
    if (const auto data = PocketSphinxData::find(m_folders))
        load(*data);
}

QStringList PocketSphinxRecognizers::supportedLocales() const {
    if (isModelLoaded() || PocketSphinxData::find(m_folders))
        return {onlyLocale};
    return {};
}

std::unique_ptr<SpeechRecognizer> PocketSphinxRecognizers::makeRecognizer(const QString &localeIdentifier) {
    if (localeIdentifier != onlyLocale)
        return nullptr;
    reloadChangedData();
    if (!m_thread)
        return nullptr;
    return std::make_unique<PocketSphinxRecognizer>(m_thread, m_drain);
}

bool PocketSphinxRecognizers::isModelLoaded() const {
    return m_thread && m_thread->modelState() == RecognitionThread::ModelState::ready;
}

void PocketSphinxRecognizers::load(const PocketSphinxData &data) {
    m_loadedFrom = data.fingerprint();
    if (m_thread)
        m_thread->reload(data);
    else
        m_thread = std::make_shared<RecognitionThread>(data);
}

/// A model that could not be loaded is tried again once its files have changed: they may be whole now.
void PocketSphinxRecognizers::reloadChangedData() {
    if (m_thread && m_thread->modelState() != RecognitionThread::ModelState::failed)
        return;
    const auto data = PocketSphinxData::find(m_folders);
    if (data && data->fingerprint() != m_loadedFrom)
        load(*data);
}

} // namespace quillora::platform
