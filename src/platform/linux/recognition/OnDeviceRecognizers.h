#pragma once

#include "platform/ModelRoutes.h"
#include "platform/ModelStore.h"
#include "platform/SpeechRecognizers.h"
#include "platform/linux/recognition/RecognizerClient.h"
#include "platform/linux/sound/CaptureDrain.h"

#include <QString>

#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace quillora::platform {

/// Recognition on this computer: by the models of the store, in a process of its own, or by what came with
/// the system, as the routes decide.
///
/// All locales are supported that could be heard, whether their models are installed or not: a recognizer of
/// one whose model is not is unavailable. One model is loaded at a time.
class OnDeviceRecognizers : public SpeechRecognizers {
public:
    /// `program` is the recognizer's; `systemRecognizers` are asked where the routes say that nothing of the
    /// store is needed. All that is given outlives this.
    OnDeviceRecognizers(std::shared_ptr<CaptureDrain> drain, std::string program, ModelStore &store,
                        const ModelRoutes &routes, SpeechRecognizers &systemRecognizers);
    ~OnDeviceRecognizers() override;
    OnDeviceRecognizers(const OnDeviceRecognizers &) = delete;
    OnDeviceRecognizers &operator=(const OnDeviceRecognizers &) = delete;

    QStringList supportedLocales() const override;
    void prepare(const QString &localeIdentifier) override;
    std::unique_ptr<SpeechRecognizer> makeRecognizer(const QString &localeIdentifier) override;

private:
    /// A model on its way into the recognizer's process, or in it.
    struct Loaded {
        QString id;
        QString language;
        std::unique_ptr<ModelUse> use; ///< keeps its files where they are
        std::shared_ptr<RecognizerClient> client;
        bool isChecked = false; ///< the store, after it could not be loaded
    };

    std::shared_ptr<RecognizerClient> clientFor(const QString &id, const QString &language);
    std::optional<Loaded> load(const QString &id, const QString &language);
    void letGo();
    void modelChanged(const QString &id);

    const std::shared_ptr<CaptureDrain> m_drain;
    const std::string m_program;
    ModelStore &m_store;
    const ModelRoutes &m_routes;
    SpeechRecognizers &m_systemRecognizers;
    const ModelStore::ObserverToken m_observer;
    QString m_prepared; ///< the locale
    std::optional<Loaded> m_loaded;
    std::pair<QString, QString> m_unreadable; ///< id and version of a model of an unknown kind
    std::vector<Loaded> m_retired;            ///< with dictations that are not over yet
};

} // namespace quillora::platform
