#pragma once

#include "platform/Continuation.h"
#include "platform/MainQueue.h"
#include "platform/ModelStore.h"
#include "platform/linux/Worker.h"

#include <QCoroTask>

#include <array>
#include <chrono>
#include <map>
#include <memory>
#include <stop_token>
#include <vector>

namespace quillora::neural {
class Translator;
}

namespace quillora::platform {

/// The neural models that are in memory. They are loaded, used and let go on threads of their own, and none
/// of them stays for longer than `idleTime` without being used, or once it is not installed any more. Main
/// thread only.
class NeuralModels {
public:
    static constexpr std::chrono::minutes idleTime{10};

    using Translator = std::shared_ptr<const neural::Translator>;

    /// Both outlive us.
    NeuralModels(ModelStore &store, MainQueue &mainQueue);

    /// Stops every translation; whoever waits gets an error. A model that is just being loaded is waited for,
    /// 150 ms at most from a warm cache: its loading cannot be stopped.
    ~NeuralModels();
    NeuralModels(const NeuralModels &) = delete;
    NeuralModels &operator=(const NeuralModels &) = delete;

    /// What a person reads of one that has been rejected for that reason.
    static QString withWayOut(const QString &problem);

    /// The installed model, once it is in memory. Throws a LocalizedError if it cannot be loaded; the store
    /// knows of it then, and has rejected it where the reason lies with the model.
    QCoro::Task<Translator> loaded(QString id);

    /// The text in the language that the last of the translators translates into: one of them, or two that
    /// meet in a language between.
    QCoro::Task<QString> translated(std::vector<Translator> way, QString text);

private:
    struct Model {
        std::unique_ptr<ModelUse> use; ///< while it is being loaded
        QString version;
        Translator translator; ///< none while it is being loaded
        std::vector<Continuation<Translator>> waiters;
        std::shared_ptr<WorkItem> idleEnd;
    };
    struct Loading {
        Translator translator;
        QString fault;            ///< empty where there is a translator
        bool isTheModels = false; ///< not one of the moment, such as a lack of memory
    };

    std::shared_ptr<Model> load(const QString &id);
    void finish(const QString &id, const std::shared_ptr<Model> &model, const Loading &result);
    void keepForAWhile(const QString &id);
    void letGo(const QString &id);
    void letGoIfNotInstalled(const QString &id);

    ModelStore &m_store;
    MainQueue &m_mainQueue;
    ModelStore::ObserverToken m_observer;
    std::map<QString, std::shared_ptr<Model>> m_models;
    std::map<quint64, Continuation<QString>> m_translations; ///< under way
    quint64 m_lastTranslation = 0;
    std::stop_source m_end;

    /// What posts to us refers to us by it.
    const std::shared_ptr<NeuralModels *> m_self = std::make_shared<NeuralModels *>(this);

    std::size_t m_lastLoader = 0;
    std::array<Worker, 2> m_loaders; ///< for both halves of a way at once
    Worker m_translator;
};

} // namespace quillora::platform
