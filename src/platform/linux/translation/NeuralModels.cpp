#include "platform/linux/translation/NeuralModels.h"

#include "platform/linux/translation/neural/ModelError.h"
#include "platform/linux/translation/neural/Translator.h"

#include <QDir>

#include <algorithm>
#include <filesystem>
#include <new>
#include <optional>
#include <stdexcept>
#include <utility>

using namespace Qt::StringLiterals;

namespace quillora::platform {

namespace {

/// Known by their names, as published models have them. Throws if the folder cannot be read.
neural::Translator::Files filesIn(const std::filesystem::path &folder) {
    std::error_code fault;
    const std::filesystem::directory_iterator entries(folder, fault);
    if (fault)
        throw std::runtime_error("Its folder cannot be read: " + fault.message() + ".");
    std::vector<std::filesystem::path> paths;
    for (const auto &entry : entries) {
        if (entry.is_regular_file())
            paths.push_back(entry.path());
    }
    std::ranges::sort(paths);
    const auto like = [&](const QString &pattern) {
        const auto found = std::ranges::find_if(paths, [&](const std::filesystem::path &path) {
            return QDir::match(pattern, QString::fromStdString(path.filename().string()));
        });
        return found == paths.end() ? std::filesystem::path() : *found;
    };
    const auto shared = like(u"vocab*.spm"_s);
    const auto orShared = [&](const std::filesystem::path &path) { return path.empty() ? shared : path; };
    return {.model = like(u"model*.bin"_s),
            .sourceVocabulary = orShared(like(u"srcvocab*.spm"_s)),
            .targetVocabulary = orShared(like(u"trgvocab*.spm"_s)),
            .shortlist = like(u"lex*.bin"_s)};
}

/// What a person reads of it.
QString sentenceOn(const std::exception &fault) {
    if (dynamic_cast<const std::bad_alloc *>(&fault) != nullptr)
        return u"There is not enough memory for the translation model."_s;
    return QString::fromUtf8(fault.what());
}

} // namespace

NeuralModels::NeuralModels(ModelStore &store, MainQueue &mainQueue)
    : m_store(store), m_mainQueue(mainQueue),
      m_observer(store.addObserver([this](const QString &id) { letGoIfNotInstalled(id); })),
      m_loaders{Worker("model loader", &Worker::serve), Worker("model loader", &Worker::serve)},
      m_translator("translator", &Worker::serve) {}

NeuralModels::~NeuralModels() {
    m_store.removeObserver(m_observer);
    m_end.request_stop();
    for (const auto &[id, model] : m_models) {
        if (model->idleEnd)
            model->idleEnd->cancel();
    }
}

QString NeuralModels::withWayOut(const QString &problem) {
    return problem + u" Repair its model under Models in the tray menu."_s;
}

QCoro::Task<NeuralModels::Translator> NeuralModels::loaded(QString id) {
    const auto found = m_models.find(id);
    auto model = found != m_models.end() ? found->second : load(id);
    if (model->translator) {
        keepForAWhile(id);
        Translator translator = model->translator; // a copy: what is returned is moved from, whatever it is
        co_return translator;
    }
    Continuation<Translator> continuation(m_mainQueue);
    const auto isLoaded = continuation.wait();
    model->waiters.push_back(std::move(continuation));
    model.reset(); // the waiter must not keep itself waiting
    co_return co_await isLoaded;
}

/// Begins with it. Throws a LocalizedError where there is nothing to begin with.
std::shared_ptr<NeuralModels::Model> NeuralModels::load(const QString &id) {
    auto use = m_store.use(id);
    if (!use)
        throw LocalizedError(u"It is not installed."_s);
    const auto description = m_store.description(id); // one that is installed may be in no catalog any more
    if (!description)
        throw LocalizedError(u"There is no model \"%1\"."_s.arg(id));

    const auto model = std::make_shared<Model>();
    model->use = std::move(use);
    model->version = model->use->version();
    m_models[id] = model;
    auto work = [id, folder = model->use->folder(), source = description->languages.first().toStdString(),
                 target = description->languages.last().toStdString(), end = m_end.get_token(),
                 &queue = m_mainQueue, self = std::weak_ptr(m_self), weak = std::weak_ptr(model)] {
        if (end.stop_requested())
            return;
        Loading result;
        try {
            result.translator = std::make_shared<const neural::Translator>(
                filesIn(folder.toStdString()), neural::Translator::Languages{source, target});
        } catch (const neural::ModelError &error) {
            result.fault = QString::fromUtf8(error.what());
            result.isTheModels = true;
        } catch (const std::exception &error) {
            result.fault = sentenceOn(error);
        }
        queue.async([self, weak, id, result] {
            const auto models = self.lock();
            const auto model = weak.lock();
            if (models && model)
                (*models)->finish(id, model, result);
        });
    };
    m_loaders[m_lastLoader++ % m_loaders.size()].post(std::move(work));
    return model;
}

void NeuralModels::finish(const QString &id, const std::shared_ptr<Model> &model, const Loading &result) {
    model->translator = result.translator;
    const auto waiters = std::exchange(model->waiters, {});
    if (result.translator) {
        model->use.reset(); // it is in memory, whatever becomes of the files
        for (const auto &waiter : waiters)
            waiter.resume(result.translator);
        keepForAWhile(id);
        letGoIfNotInstalled(id);
        return;
    }
    m_models.erase(id);
    if (result.isTheModels)
        m_store.reject(id, model->version, result.fault);
    else
        m_store.check(id);
    model->use.reset(); // or another might stand in its place, which nobody has tried
    const LocalizedError error(result.isTheModels ? withWayOut(result.fault) : result.fault);
    for (const auto &waiter : waiters)
        waiter.fail(std::make_exception_ptr(error));
}

QCoro::Task<QString> NeuralModels::translated(std::vector<Translator> way, QString text) {
    Continuation<QString> continuation(m_mainQueue);
    const auto isTranslated = continuation.wait();
    const quint64 number = ++m_lastTranslation;
    m_translations.emplace(number, std::move(continuation));
    auto work = [way = std::move(way), text = text.toStdString(), number, end = m_end.get_token(),
                 &queue = m_mainQueue, self = std::weak_ptr(m_self)] {
        std::optional<std::string> translation;
        std::exception_ptr error;
        try {
            translation = way.size() == 1 ? way.front()->translate(text, end)
                                          : way.front()->translate(text, *way.back(), end);
        } catch (const std::exception &exception) {
            error = std::make_exception_ptr(LocalizedError(sentenceOn(exception)));
        }
        queue.async([self, number, translation, error] {
            const auto models = self.lock();
            auto waiting =
                models ? (*models)->m_translations.extract(number) : decltype(m_translations)::node_type();
            if (waiting.empty())
                return;
            if (translation)
                waiting.mapped().resume(QString::fromStdString(*translation));
            else if (error)
                waiting.mapped().fail(error);
        });
    };
    m_translator.post(std::move(work));
    co_return co_await isTranslated;
}

void NeuralModels::keepForAWhile(const QString &id) {
    Model &model = *m_models.at(id);
    if (model.idleEnd)
        model.idleEnd->cancel();
    model.idleEnd = m_mainQueue.asyncAfter(idleTime, [this, id] { letGo(id); });
}

void NeuralModels::letGo(const QString &id) {
    const auto node = m_models.extract(id);
    if (node.mapped()->idleEnd)
        node.mapped()->idleEnd->cancel();
    // Giving so much memory back takes a while.
    m_loaders.front().post([translator = std::exchange(node.mapped()->translator, nullptr)] {});
}

void NeuralModels::letGoIfNotInstalled(const QString &id) {
    const auto model = m_models.find(id);
    if (model == m_models.end() || !model->second->translator)
        return;
    const ModelState state = m_store.state(id);
    if (!state.isInstalled() || state.version != model->second->version)
        letGo(id);
}

} // namespace quillora::platform
