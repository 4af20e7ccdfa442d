#pragma once

#include "platform/MainQueue.h"
#include "platform/ModelRoutes.h"
#include "platform/ModelStore.h"
#include "platform/SpeechRecognizers.h"
#include "platform/linux/recognition/RecognizerClient.h"
#include "platform/linux/sound/CaptureDrain.h"

#include <QString>

#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace quillora::platform {

/// Recognition on this computer: by the models of the store, in a process of its own, or by what came with
/// the system, as the routes decide.
///
/// All locales are supported that could be heard, whether their models are installed or not: a recognizer of
/// one whose model is not is unavailable. One model is loaded at a time. Where it cannot be, the next one
/// that is installed for the locale takes its place, with the words that were spoken meanwhile, or else what
/// came with the system; the store is told.
///
/// A model that has just been installed is tried while nobody dictates, whether it is loaded or not.
///
/// A model that decodes whole segments is given the one that tells speech from pauses, where that is
/// installed. Where it cannot be loaded with that, it is loaded without.
class OnDeviceRecognizers : public SpeechRecognizers {
public:
    /// What came with the system.
    struct System {
        SpeechRecognizers &recognizers; ///< asked where the routes say that nothing of the store is needed
        std::function<std::vector<RecognizerModel>(const QString &locale)> models;
    };

    /// `program` is the recognizer's. All that is given outlives this.
    OnDeviceRecognizers(std::shared_ptr<CaptureDrain> drain, std::string program, ModelStore &store,
                        const ModelRoutes &routes, System system, MainQueue &mainQueue);
    ~OnDeviceRecognizers() override;
    OnDeviceRecognizers(const OnDeviceRecognizers &) = delete;
    OnDeviceRecognizers &operator=(const OnDeviceRecognizers &) = delete;

    QStringList supportedLocales() const override;
    void prepare(const QString &localeIdentifier) override;
    std::unique_ptr<SpeechRecognizer> makeRecognizer(const QString &localeIdentifier) override;

    /// What a person is told where a model of this `RecognizerModel::longestDecoding` takes so long for two
    /// seconds of sound; empty if that will do.
    static QString remarkOnSpeed(std::chrono::milliseconds longestDecoding, std::chrono::milliseconds took);

private:
    /// A model on its way into the recognizer's process, or in it.
    struct Loaded {
        QString id;
        QString language;
        std::unique_ptr<ModelUse> use; ///< keeps its files where they are
        QString detector;              ///< the model that tells speech from pauses; empty if none does
        std::unique_ptr<ModelUse> detectorUse;
        std::map<QString, std::unique_ptr<ModelUse>> replacements; ///< which the process may come to load
        std::shared_ptr<RecognizerClient> client;
    };

    /// A model that is tried in a process for that alone.
    struct Trial {
        QString id;
        std::unique_ptr<ModelUse> use;
        std::shared_ptr<RecognizerClient> client;
    };

    std::shared_ptr<RecognizerClient> clientFor(const QString &localeIdentifier);
    bool isCurrent(const Loaded &loaded) const;
    bool areReplacementsCurrent(const Loaded &loaded) const;
    std::optional<Loaded> load(const QString &id, const QString &localeIdentifier);
    QString detectorFor(const QString &id) const;
    std::optional<RecognizerModel> withDetector(RecognizerModel &model, const QString &detector,
                                                const ModelUse &use);
    std::function<void(std::function<void()>)> poster() const;
    std::function<void(const QString &)> rejection(const QString &id, const ModelUse &use);
    std::optional<RecognizerModel> model(const QString &id, const ModelUse &use, const QString &language);
    std::vector<RecognizerModel> replacements(const QString &localeIdentifier, Loaded &loaded);
    void letGo();
    void dictationEnded();
    void renewReplacements();
    void noteArrival(const QString &id, const ModelState &state);
    void tryArrivals();
    void endTrial(const std::weak_ptr<RecognizerClient> &client);
    void beginTrial(const QString &id, std::unique_ptr<ModelUse> use, RecognizerModel model);
    bool isInUse() const { return m_loaded && m_loaded->client->isInUse(); }
    void modelChanged(const QString &id);

    const std::shared_ptr<CaptureDrain> m_drain;
    const std::string m_program;
    ModelStore &m_store;
    const ModelRoutes &m_routes;
    const System m_system;
    MainQueue &m_mainQueue;
    const std::shared_ptr<int> m_life = std::make_shared<int>();
    const ModelStore::ObserverToken m_observer;
    QString m_prepared; ///< the locale
    std::optional<Loaded> m_loaded;
    std::vector<Loaded> m_retired; ///< with dictations that are not over yet
    QStringList m_onTheirWay;      ///< models that are being installed
    QStringList m_arrivals;        ///< models that are to be tried
    std::optional<Trial> m_trial;
};

} // namespace quillora::platform
