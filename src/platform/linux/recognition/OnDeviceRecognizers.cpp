#include "platform/linux/recognition/OnDeviceRecognizers.h"

#include "platform/linux/recognition/ProcessRecognizer.h"
#include "platform/linux/recognition/SherpaModel.h"
#include "platform/linux/recognition/SpokenLocales.h"

#include <utility>

namespace quillora::platform {

namespace {

/// Of a locale whose model is not there, or cannot be loaded.
class UnavailableRecognizer : public SpeechRecognizer {
public:
    bool isAvailable() const override { return false; }
    std::shared_ptr<Recognition> recognize(RecognitionHandler handler) override {
        handler({}, LocalizedError(u"The speech model is not installed."_qs));
        return std::make_shared<NoRecognition>();
    }

private:
    class NoRecognition : public Recognition {
    public:
        void append(AudioBuffer) override {}
        void endAudio() override {}
        void cancel() override {}
    };
};

QString languageOf(const QString &localeIdentifier) { return localeIdentifier.section(u'-', 0, 0); }

} // namespace

OnDeviceRecognizers::OnDeviceRecognizers(std::shared_ptr<CaptureDrain> drain, std::string program,
                                         ModelStore &store, const ModelRoutes &routes,
                                         SpeechRecognizers &systemRecognizers)
    : m_drain(std::move(drain)), m_program(std::move(program)), m_store(store), m_routes(routes),
      m_systemRecognizers(systemRecognizers),
      m_observer(store.addObserver([this](const QString &id) { modelChanged(id); })) {}

OnDeviceRecognizers::~OnDeviceRecognizers() { m_store.removeObserver(m_observer); }

QStringList OnDeviceRecognizers::supportedLocales() const {
    QStringList locales;
    for (const QString &locale : spokenLocales()) {
        // Models that hear it are known without a look at the disk.
        const auto task = ModelTask::hearing(locale);
        if (!m_routes.choices(task).isEmpty() || m_routes.route(task))
            locales += locale;
    }
    return locales;
}

void OnDeviceRecognizers::prepare(const QString &localeIdentifier) {
    m_prepared = localeIdentifier;
    const auto route = m_routes.route(ModelTask::hearing(localeIdentifier));
    if (!route || !route->isUsable)
        return;
    if (!route->models.isEmpty())
        clientFor(route->models.first(), languageOf(localeIdentifier));
    else
        m_systemRecognizers.prepare(localeIdentifier);
}

std::unique_ptr<SpeechRecognizer> OnDeviceRecognizers::makeRecognizer(const QString &localeIdentifier) {
    const auto route = m_routes.route(ModelTask::hearing(localeIdentifier));
    if (!route)
        return nullptr;
    if (route->models.isEmpty())
        return m_systemRecognizers.makeRecognizer(localeIdentifier);
    if (route->isUsable) {
        if (auto client = clientFor(route->models.first(), languageOf(localeIdentifier)))
            return std::make_unique<ProcessRecognizer>(client, m_drain);
    }
    return std::make_unique<UnavailableRecognizer>();
}

/// One that has the model loaded, or loads it now; none if it is not whole.
std::shared_ptr<RecognizerClient> OnDeviceRecognizers::clientFor(const QString &id, const QString &language) {
    std::erase_if(m_retired, [](const Loaded &one) { return !one.client->isInUse(); });
    const bool isLoaded = m_loaded && m_loaded->id == id && m_loaded->language == language &&
                          m_loaded->use->version() == m_store.state(id).version;
    if (!isLoaded) {
        letGo();
        m_loaded = load(id, language);
    }
    if (!m_loaded)
        return nullptr;
    const bool isFailed = m_loaded->client->modelState() == RecognizerClient::ModelState::failed;
    if (isFailed && !std::exchange(m_loaded->isChecked, true))
        m_store.check(id);
    return m_loaded->client;
}

std::optional<OnDeviceRecognizers::Loaded> OnDeviceRecognizers::load(const QString &id,
                                                                     const QString &language) {
    const auto description = m_store.description(id);
    if (!description || m_unreadable == std::pair(id, m_store.state(id).version))
        return {};
    auto use = m_store.use(id);
    if (!use)
        return {};
    const auto model = sherpaModel(*description, use->folder(), language);
    if (!model) {
        m_unreadable = {id, use->version()};
        return {};
    }
    auto client = std::make_shared<RecognizerClient>(m_program);
    client->load({*model});
    return Loaded{id, language, std::move(use), std::move(client)};
}

/// A dictation that another language overtakes goes on to its end.
void OnDeviceRecognizers::letGo() {
    if (m_loaded && m_loaded->client->isInUse())
        m_retired.push_back(std::move(*m_loaded));
    m_loaded.reset();
}

/// What has arrived, or been repaired, is loaded at once if it is what the next dictation needs; what leaves
/// is not kept from leaving.
void OnDeviceRecognizers::modelChanged(const QString &id) {
    const auto state = m_store.state(id);
    if (m_loaded && m_loaded->id == id && (!state.isInstalled() || state.isLeaving))
        letGo();
    if (state.isInstalled() && !state.isLeaving && !m_prepared.isEmpty())
        prepare(m_prepared);
}

} // namespace quillora::platform
