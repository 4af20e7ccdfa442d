#pragma once

#include "platform/linux/LinuxMainQueue.h"
#include "platform/linux/models/LinuxModelStore.h"
#include "platform/linux/routing/EngineRoutes.h"
#include "platform/linux/routing/RememberedConsent.h"
#include "platform/linux/translation/NeuralEngine.h"
#include "platform/linux/translation/OnDeviceTranslators.h"
#include "platform/linux/translation/apertium/ApertiumEngine.h"
#include "support/ModelServer.h"
#include "support/TestModels.h"
#include "support/neural/DictionaryModel.h"

#include <QJsonArray>
#include <QJsonObject>
#include <QTemporaryDir>

#include <chrono>
#include <optional>

namespace quillora::test {

using namespace Qt::StringLiterals;

/// On-device translation with nothing installed: a store on a disk, a publisher that a real HTTPS server is,
/// and everything between them and a text.
class DownloadedTranslation {
public:
    explicit DownloadedTranslation(const QSslConfiguration &identity) : server(identity) {
        server.delivery = Delivery::nothing;
        publish(u"en"_s, u"es"_s, {{"house", "casa"}});
        publish(u"en"_s, u"ru"_s, {{"hello", "привет"}, {"world", "мир"}, {"thanks", "спасибо"}});
        publish(u"de"_s, u"en"_s, germanToEnglish());
        store.emplace(queue, platform::LinuxModelStore::Ground{
                                 .folders = {home.filePath(u"models"_s), {}},
                                 .catalog = {{{u"catalog"_s, catalogOf(m_models)}}, {u"neural"_s}},
                                 .patience = {.firstPause = std::chrono::milliseconds(1), .mostFailures = 1},
                                 .untilLeavingIsTriedAgain = std::chrono::milliseconds(50)});
        routes.emplace(
            *store, QStringList{u"neural"_s},
            [this](const platform::ModelTask &task) {
                return isApertiumInstalled && platform::ApertiumEngine::isInstalledFor(task.languages.first(),
                                                                                       task.languages.last());
            },
            platform::Computer{qint64(8) << 30, 4}, home.filePath(u"chosen"_s));
        consent.emplace(queue, home.filePath(u"declined"_s));
        start();
    }

    /// The engines, anew.
    void start() {
        std::vector<std::unique_ptr<platform::OnDeviceEngine>> engines;
        engines.push_back(std::make_unique<platform::NeuralEngine>(*routes, *store, *consent, queue));
        if (isApertiumInstalled)
            engines.push_back(std::make_unique<platform::ApertiumEngine>(queue));
        translators.emplace(std::move(engines));
    }

    /// Somebody who answers every question in this way.
    void seatPerson(platform::DownloadAnswer answer) {
        consent->setPresenter([this, answer](const auto &question, const auto &reply) {
            questions += question;
            reply(answer);
        });
    }

    bool waitUntil(const std::function<bool()> &condition) { return server.waitUntil(condition); }

    platform::LinuxMainQueue queue;
    QTemporaryDir home;
    ModelServer server;
    std::optional<platform::LinuxModelStore> store;
    std::optional<platform::EngineRoutes> routes;
    std::optional<platform::RememberedConsent> consent;
    std::optional<platform::OnDeviceTranslators> translators;
    QList<platform::DownloadQuestion> questions; ///< that the person was asked
    bool isApertiumInstalled = false;            ///< with its real data, from the next `start` on

private:
    void publish(const QString &source, const QString &target, const Dictionary &dictionary) {
        const DictionaryModel model(dictionary);
        const QString id = source + u'-' + target;
        QJsonArray files;
        const auto add = [&](const QString &name, const std::string &contents) {
            files += server.publish(name, u"/%1/%2"_s.arg(id, name), QByteArray::fromStdString(contents));
        };
        add(u"model.bin"_s, model.modelFile);
        add(u"vocab.spm"_s, model.vocabularyFile);
        add(u"lex.bin"_s, model.shortlistFile);
        m_models += QJsonObject{{u"id"_s, id},
                                {u"kind"_s, u"translation"_s},
                                {u"version"_s, u"1"_s},
                                {u"languages"_s, QJsonArray{source, target}},
                                {u"engine"_s, u"neural"_s},
                                {u"files"_s, files}};
    }

    QJsonArray m_models;
};

} // namespace quillora::test
