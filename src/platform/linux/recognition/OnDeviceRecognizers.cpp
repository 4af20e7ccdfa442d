#include "platform/linux/recognition/OnDeviceRecognizers.h"

#include "platform/linux/recognition/ProcessRecognizer.h"
#include "platform/linux/recognition/SherpaModel.h"
#include "platform/linux/recognition/SpokenLocales.h"

#include <QDateTime>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>

#include <algorithm>
#include <iterator>
#include <utility>

using namespace Qt::StringLiterals;

namespace quillora::platform {

namespace {

/// Of a locale whose model is not there, or cannot be loaded.
class UnavailableRecognizer : public SpeechRecognizer {
public:
    bool isAvailable() const override { return false; }
    std::shared_ptr<Recognition> recognize(RecognitionHandler handler) override {
        handler({}, LocalizedError(u"The speech model is not installed."_s));
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

QString unknownKind() { return u"This program does not know models of its kind."_s; }

/// What shows of a file without reading it.
struct Look {
    qint64 size = 0;
    QDateTime lastModified;

    bool operator==(const Look &) const = default;
};

std::vector<Look> looksOf(const std::vector<std::string> &files) {
    std::vector<Look> looks;
    for (const std::string &file : files) {
        const QFileInfo info(QFile::decodeName(file.c_str()));
        looks.push_back({info.size(), info.lastModified()});
    }
    return looks;
}

/// The store has just had a look at the files. A process that ends while nobody dictates is followed by one
/// that reads them again, hours later: whatever shows of them by then is compared with that.
void compareAtEachStart(RecognizerModel &model) {
    model.judge = [files = model.files, looks = looksOf(model.files),
                   doubt = model.doubt](ModelCheck check, const RecognizerModel::IsUnwanted &) mutable {
        if (check == ModelCheck::checksums)
            return ModelJudgement::unknown;
        const auto before = std::exchange(looks, looksOf(files));
        if (!std::ranges::equal(before, looks, {}, &Look::size, &Look::size))
            return ModelJudgement::wrong;
        if (before != looks)
            doubt();
        return ModelJudgement::unknown;
    };
}

/// As far as it can be offered: "fr-CA", and not "fr", which the locales of its language stand for.
bool isLocale(const QString &code) {
    static const QRegularExpression pattern(u"\\A[a-z]{2,3}(-[A-Z][a-z]{3})?-([A-Z]{2}|[0-9]{3})\\z"_s);
    return pattern.match(code).hasMatch();
}

/// The locales that are offered of old, and behind them those that only a model names.
QStringList localesWith(const QList<ModelDescription> &models) {
    QStringList locales = spokenLocales();
    for (const ModelDescription &model : models) {
        if (model.kind == ModelKind::speech)
            std::ranges::copy_if(model.languages, std::back_inserter(locales), isLocale);
    }
    locales.removeDuplicates();
    return locales;
}

QString languageOf(const QString &localeIdentifier) { return localeIdentifier.section(u'-', 0, 0); }

} // namespace

OnDeviceRecognizers::OnDeviceRecognizers(std::shared_ptr<CaptureDrain> drain, std::string program,
                                         ModelStore &store, const ModelRoutes &routes, System system,
                                         MainQueue &mainQueue)
    : m_drain(std::move(drain)), m_program(std::move(program)), m_store(store), m_routes(routes),
      m_system(std::move(system)), m_mainQueue(mainQueue),
      m_observer(store.addObserver([this](const QString &id) { modelChanged(id); })) {}

OnDeviceRecognizers::~OnDeviceRecognizers() { m_store.removeObserver(m_observer); }

QStringList OnDeviceRecognizers::supportedLocales() const {
    QStringList locales;
    for (const QString &locale : localesWith(m_store.models())) {
        // Models that hear it are known without a look at the disk.
        const auto task = ModelTask::hearing(locale);
        if (!m_routes.choices(task).isEmpty() || m_routes.route(task))
            locales += locale;
    }
    return locales;
}

void OnDeviceRecognizers::prepare(const QString &localeIdentifier) {
    m_prepared = localeIdentifier;
    if (clientFor(localeIdentifier))
        return;
    const auto route = m_routes.route(ModelTask::hearing(localeIdentifier));
    if (route && route->models.isEmpty())
        m_system.recognizers.prepare(localeIdentifier);
}

std::unique_ptr<SpeechRecognizer> OnDeviceRecognizers::makeRecognizer(const QString &localeIdentifier) {
    if (auto client = clientFor(localeIdentifier))
        return std::make_unique<ProcessRecognizer>(client, m_drain);
    const auto route = m_routes.route(ModelTask::hearing(localeIdentifier));
    if (!route)
        return nullptr;
    if (route->models.isEmpty())
        return m_system.recognizers.makeRecognizer(localeIdentifier);
    return std::make_unique<UnavailableRecognizer>();
}

/// One that has a model of the store loaded, or loads it now; none where no model of the store hears.
std::shared_ptr<RecognizerClient> OnDeviceRecognizers::clientFor(const QString &localeIdentifier) {
    const auto task = ModelTask::hearing(localeIdentifier);
    // A model that turns out not to be one makes way for the next.
    for (auto route = m_routes.route(task); route && route->isUsable && !route->models.isEmpty();
         route = m_routes.route(task)) {
        const QString &id = route->models.first();
        const bool isLoaded = m_loaded && m_loaded->id == id &&
                              m_loaded->language == languageOf(localeIdentifier) && isCurrent(*m_loaded);
        if (isLoaded)
            return m_loaded->client;
        letGo();
        m_loaded = load(id, localeIdentifier);
        if (m_loaded)
            return m_loaded->client;
        if (m_store.state(id).isInstalled())
            return nullptr; // it cannot be had right now
    }
    return nullptr;
}

/// Whether it would be loaded from the same files now.
bool OnDeviceRecognizers::isCurrent(const Loaded &loaded) const {
    const auto isAsBefore = [this](const ModelUse &use, const QString &id) {
        return use.version() == m_store.state(id).version;
    };
    return isAsBefore(*loaded.use, loaded.id) && detectorFor(loaded.id) == loaded.detector &&
           (!loaded.detectorUse || isAsBefore(*loaded.detectorUse, loaded.detector));
}

bool OnDeviceRecognizers::areReplacementsCurrent(const Loaded &loaded) const {
    return std::ranges::all_of(loaded.replacements, [this](const auto &replacement) {
        const auto state = m_store.state(replacement.first);
        return state.isInstalled() && !state.isLeaving && state.version == replacement.second->version();
    });
}

std::optional<OnDeviceRecognizers::Loaded> OnDeviceRecognizers::load(const QString &id,
                                                                     const QString &localeIdentifier) {
    auto use = m_store.use(id);
    if (!use)
        return {};
    const QString language = languageOf(localeIdentifier);
    auto first = model(id, *use, language);
    if (!first)
        return {};
    const QString detector = detectorFor(id);
    auto detectorUse = detector.isEmpty() ? nullptr : m_store.use(detector);
    auto better = detectorUse ? withDetector(*first, detector, *detectorUse) : std::nullopt;
    Loaded loaded{.id = id,
                  .language = language,
                  .use = std::move(use),
                  .detector = detector,
                  .detectorUse = std::move(detectorUse),
                  .replacements = {},
                  .client = std::make_shared<RecognizerClient>(
                      m_program, RecognizerClient::Limits(),
                      [this, post = poster()] { post([this] { dictationEnded(); }); })};
    std::vector<RecognizerModel> models = replacements(localeIdentifier, loaded);
    models.insert(models.begin(), *std::move(first));
    if (better)
        models.insert(models.begin(), *std::move(better));
    loaded.client->load(std::move(models));
    return loaded;
}

/// The installed model that tells speech from pauses for that one; empty if there is none, or no need of it.
QString OnDeviceRecognizers::detectorFor(const QString &id) const {
    const auto description = m_store.description(id);
    if (!description || description->parameters.value(u"decoding"_s) != u"offline"_s)
        return {};
    const auto route = m_routes.route(ModelTask::tellingPauses());
    const bool isThere = route && route->isUsable && !route->models.isEmpty() &&
                         !m_store.state(route->models.first()).isLeaving;
    return isThere ? route->models.first() : QString();
}

/// The model together with the detector. Which of them is to blame where they cannot be loaded shows when the
/// model is loaded without.
std::optional<RecognizerModel>
OnDeviceRecognizers::withDetector(RecognizerModel &model, const QString &detector, const ModelUse &use) {
    const auto reject = rejection(detector, use);
    auto better = platform::withDetector(model, use.folder());
    if (!better) {
        reject(unknownKind());
        return {};
    }
    const auto hasFailed = std::make_shared<bool>(false); // of the recognizer's thread
    better->reject = [hasFailed](const QString &) {
        qWarning("The speech recognizer fails with its voice activity model, and goes on without it.");
        *hasFailed = true;
    };
    better->doubt = [this, post = poster(), detector, doubt = model.doubt] {
        doubt();
        post([this, detector] { m_store.check(detector); });
    };
    compareAtEachStart(*better);
    model.tried = [hasFailed, reject, tried = model.tried](std::chrono::milliseconds took) {
        if (std::exchange(*hasFailed, false))
            reject(u"The speech recognizer fails with it."_s);
        tried(took);
    };
    return better;
}

/// Does on the main thread what it is given, as long as this lives; may be called on any thread, and later.
std::function<void(std::function<void()>)> OnDeviceRecognizers::poster() const {
    return [&queue = m_mainQueue, life = std::weak_ptr(m_life)](std::function<void()> work) {
        queue.async([life, work = std::move(work)] {
            if (life.lock())
                work();
        });
    };
}

/// Tells the store that a model cannot be loaded; may be called on any thread.
std::function<void(const QString &)> OnDeviceRecognizers::rejection(const QString &id, const ModelUse &use) {
    return [this, post = poster(), id, version = use.version()](const QString &reason) {
        post([this, id, version, reason] { m_store.reject(id, version, reason); });
    };
}

/// None where its files are not those of a model that can be loaded; the store knows then.
std::optional<RecognizerModel> OnDeviceRecognizers::model(const QString &id, const ModelUse &use,
                                                          const QString &language) {
    const auto description = m_store.description(id);
    auto model = description ? sherpaModel(*description, use.folder(), language) : std::nullopt;
    if (!model) {
        m_store.reject(id, use.version(), unknownKind());
        return {};
    }
    model->reject = rejection(id, use);
    model->doubt = [this, post = poster(), id] { post([this, id] { m_store.check(id); }); };
    compareAtEachStart(*model);
    model->tried = [this, post = poster(), id, version = use.version(),
                    longestDecoding = model->longestDecoding](std::chrono::milliseconds took) {
        post([this, id, version, remark = remarkOnSpeed(longestDecoding, took)] {
            m_store.remark(id, version, remark);
        });
    };
    return model;
}

/// What else is installed for the locale, as far as it can be read right now: it is loaded where the first
/// one cannot be, so that no word is lost. `loaded` keeps its files where they are.
std::vector<RecognizerModel> OnDeviceRecognizers::replacements(const QString &localeIdentifier,
                                                               Loaded &loaded) {
    std::vector<RecognizerModel> models;
    for (const QString &other : m_routes.choices(ModelTask::hearing(localeIdentifier))) {
        auto use = other != loaded.id ? m_store.use(other) : nullptr;
        auto next = use ? model(other, *use, loaded.language) : std::nullopt;
        if (!next)
            continue;
        models.push_back(*std::move(next));
        loaded.replacements[other] = std::move(use);
    }
    for (auto &next : m_system.models(localeIdentifier))
        models.push_back(std::move(next));
    return models;
}

/// Of a model that is not for streams two seconds may be left at the release, however long it takes for them.
/// One for streams decodes them while they are spoken, and has to leave a fifth of the time for all else.
QString OnDeviceRecognizers::remarkOnSpeed(std::chrono::milliseconds longestDecoding,
                                           std::chrono::milliseconds took) {
    constexpr std::chrono::milliseconds longestOfStreams{1600};
    const bool isForStreams = longestDecoding == std::chrono::milliseconds(0);
    if (took <= (isForStreams ? longestOfStreams : longestDecoding))
        return {};
    return u"This computer is too slow for it: two seconds of speech take it %1 seconds."_s.arg(
        double(took.count()) / 1000, 0, 'f', 1);
}

/// A dictation that another language overtakes goes on to its end.
void OnDeviceRecognizers::letGo() {
    if (isInUse())
        m_retired.push_back(std::move(*m_loaded));
    m_loaded.reset();
}

void OnDeviceRecognizers::dictationEnded() {
    std::erase_if(m_retired, [](const Loaded &one) { return !one.client->isInUse(); });
    renewReplacements();
    tryArrivals();
}

/// So that none is kept from leaving. While somebody dictates the process may come to one yet, and a second
/// process beside it would take as much memory again.
void OnDeviceRecognizers::renewReplacements() {
    if (!m_loaded || isInUse() || areReplacementsCurrent(*m_loaded))
        return;
    letGo();
    if (!m_prepared.isEmpty())
        prepare(m_prepared);
}

/// What has arrived, or been repaired, is loaded at once if it is what the next dictation needs; what leaves
/// is not kept from leaving, and what takes its place is loaded.
void OnDeviceRecognizers::modelChanged(const QString &id) {
    const auto state = m_store.state(id);
    const bool isThere = state.isInstalled() && !state.isLeaving;
    const bool isLoaded = m_loaded && (m_loaded->id == id || m_loaded->detector == id);
    const bool isGoing = isLoaded && !isThere;
    if (isGoing)
        letGo();
    if ((isThere || isGoing) && !m_prepared.isEmpty())
        prepare(m_prepared);
    renewReplacements();
    noteArrival(id, state);
    tryArrivals();
}

void OnDeviceRecognizers::noteArrival(const QString &id, const ModelState &state) {
    if (m_trial && m_trial->id == id && (!state.isInstalled() || state.isLeaving))
        m_trial.reset();
    if (state.progress) {
        if (!m_onTheirWay.contains(id))
            m_onTheirWay += id;
    } else if (m_onTheirWay.removeOne(id) && state.isInstalled()) {
        m_arrivals += id;
    }
}

/// Whether a computer is too slow for a model, or cannot do with it, is told to the person who has just
/// installed it, and not when it is needed. What is loaded anyway is tried then.
void OnDeviceRecognizers::tryArrivals() {
    while (!m_trial && !m_arrivals.isEmpty() && !isInUse() && m_retired.empty()) {
        const QString id = m_arrivals.takeFirst();
        const auto description = m_store.description(id);
        const bool isNeeded = description && description->kind == ModelKind::speech &&
                              description->engine == sherpaEngine && !(m_loaded && m_loaded->id == id);
        auto use = isNeeded ? m_store.use(id) : nullptr;
        if (!use)
            continue;
        if (auto tried = model(id, *use, languageOf(description->languages.first())))
            beginTrial(id, std::move(use), *std::move(tried));
    }
}

/// However it goes, it is over with the first that is told of the model.
void OnDeviceRecognizers::beginTrial(const QString &id, std::unique_ptr<ModelUse> use,
                                     RecognizerModel model) {
    const auto client = std::make_shared<RecognizerClient>(m_program);
    const auto endAfter = [this, post = poster(), trial = std::weak_ptr(client)](auto tell) {
        return [this, post, trial, tell = std::move(tell)](const auto &...said) {
            tell(said...);
            post([this, trial] { endTrial(trial); });
        };
    };
    model.tried = endAfter(std::move(model.tried));
    model.reject = endAfter(std::move(model.reject));
    model.doubt = endAfter(std::move(model.doubt));
    model.noProcess = endAfter(std::move(model.noProcess));
    m_trial.emplace(Trial{id, std::move(use), client});
    client->load({std::move(model)});
}

/// What it has told the store may have ended it already, and begun the next one.
void OnDeviceRecognizers::endTrial(const std::weak_ptr<RecognizerClient> &client) {
    if (m_trial && m_trial->client == client.lock())
        m_trial.reset();
    tryArrivals();
}

} // namespace quillora::platform
