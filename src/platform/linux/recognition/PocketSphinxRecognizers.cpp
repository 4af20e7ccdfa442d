#include "platform/linux/recognition/PocketSphinxRecognizers.h"

#include "platform/linux/recognition/ProcessRecognizer.h"

#include <utility>

using namespace Qt::StringLiterals;

namespace quillora::platform {

namespace {

const QString onlyLocale = u"en-US"_s;

} // namespace

PocketSphinxRecognizers::PocketSphinxRecognizers(std::shared_ptr<CaptureDrain> drain, std::string program,
                                                 QStringList folders)
    : m_drain(std::move(drain)), m_program(std::move(program)), m_folders(std::move(folders)) {}

QStringList PocketSphinxRecognizers::supportedLocales() const {
    return hears(onlyLocale) ? QStringList{onlyLocale} : QStringList();
}

bool PocketSphinxRecognizers::hears(const QString &localeIdentifier) const {
    return localeIdentifier == onlyLocale &&
           (isModelLoaded() || !PocketSphinxData::findAll(m_folders).empty());
}

std::vector<RecognizerModel> PocketSphinxRecognizers::models(const QString &localeIdentifier) const {
    std::vector<RecognizerModel> models;
    if (localeIdentifier == onlyLocale) {
        for (const auto &data : PocketSphinxData::findAll(m_folders))
            models.push_back(data.model());
    }
    return models;
}

void PocketSphinxRecognizers::prepare(const QString &localeIdentifier) {
    const bool isFailed = m_client && m_client->modelState() == RecognizerClient::ModelState::failed;
    if (localeIdentifier == onlyLocale && (!m_client || isFailed))
        loadChangedData();
}

std::unique_ptr<SpeechRecognizer> PocketSphinxRecognizers::makeRecognizer(const QString &localeIdentifier) {
    prepare(localeIdentifier);
    if (localeIdentifier != onlyLocale || !m_client)
        return nullptr;
    return std::make_unique<ProcessRecognizer>(m_client, m_drain);
}

bool PocketSphinxRecognizers::isModelLoaded() const {
    return m_client && m_client->modelState() == RecognizerClient::ModelState::ready;
}

/// Data that could not be loaded is tried again once its files have changed: they may be whole now.
void PocketSphinxRecognizers::loadChangedData() {
    const auto found = PocketSphinxData::findAll(m_folders);
    std::vector<std::vector<PocketSphinxData::FileState>> files;
    for (const auto &data : found)
        files.push_back(data.fingerprint());
    if (found.empty() || std::exchange(m_loadedFrom, files) == files)
        return;
    std::vector<RecognizerModel> models;
    for (const auto &data : found)
        models.push_back(data.model());
    if (!m_client)
        m_client = std::make_shared<RecognizerClient>(m_program);
    m_client->load(std::move(models));
}

} // namespace quillora::platform
