#pragma once

#include "platform/ModelStore.h"

#include <QString>
#include <QStringList>

#include <optional>

namespace quillora::platform {

/// Something that a model does: hearing a locale, translating from one language to another, or telling speech
/// from pauses, whatever the language.
struct ModelTask {
    ModelKind kind = ModelKind::speech;
    QStringList languages; ///< the locale that is heard, as in "de-DE"; codes of source and target; or none

    static ModelTask hearing(const QString &locale) { return {ModelKind::speech, {locale}}; }
    static ModelTask translating(const QString &source, const QString &target) {
        return {ModelKind::translation, {source, target}};
    }
    static ModelTask tellingPauses() { return {ModelKind::voiceActivity, {}}; }

    bool operator==(const ModelTask &) const = default;
};

/// How a task is done on this computer.
struct ModelRoute {
    /// What it takes from the store, in the order of use, whether installed or not. Empty where what serves
    /// it came with the system.
    QStringList models;
    bool isUsable = false; ///< with what is installed now
    bool isByWayOfEnglish = false;

    bool operator==(const ModelRoute &) const = default;
};

/// Which models do what. It is decided here and nowhere else, by those who know the engines; answers change
/// as models come and go, which the store tells. Main thread only; never waits.
class ModelRoutes {
public:
    virtual ~ModelRoutes() = default;

    /// How the task is done, or would be once its models are there; none if nothing can do it.
    std::optional<ModelRoute> route(const ModelTask &task) const { return routeWithout({}, task); }

    /// The same as though there were none of these models: where some of what is installed fails for now.
    virtual std::optional<ModelRoute> routeWithout(const QStringList &models,
                                                   const ModelTask &task) const = 0;

    /// The models any of which does the task without another, the recommended one first: by what this
    /// computer has and what is published of them. For the task's languages alone, never by way of English.
    virtual QStringList choices(const ModelTask &task) const = 0;

    /// Which of the choices the person wants for the task; empty while it is left to the recommendation.
    virtual QString chosen(const ModelTask &task) const = 0;

    /// Keeps what the person wants, over the program's end too; empty leaves it to the recommendation. For a
    /// locale that is heard, it holds in every region of the language.
    virtual void choose(const ModelTask &task, const QString &id) = 0;
};

} // namespace quillora::platform
