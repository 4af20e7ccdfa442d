#pragma once

#include "platform/ModelRoutes.h"
#include "platform/linux/routing/TaskRecord.h"

#include <functional>

namespace quillora::platform {

/// What this computer has for its engines.
struct Computer {
    qint64 memory = 0; ///< bytes
    int cores = 0;

    static Computer thisOne();
};

/// Decides how a task is done: of the ways that can be gone with what is installed the first, else the first
/// of those that could be gone with more of it:
///
/// 1. a model for the task; the one that was chosen before the recommended one, that before the others
/// 2. for a translation, two models by way of English
/// 3. what came with the system
///
/// Models that an engine has rejected are left out where there are others.
class EngineRoutes : public ModelRoutes {
public:
    using ComesWithSystem = std::function<bool(const ModelTask &task)>;

    /// In the XDG data folder.
    static QString standardFile();

    /// `engines` are those that are built in; models of others are none. Choices are kept in `file`. The
    /// store outlives us.
    EngineRoutes(const ModelStore &store, QStringList engines, ComesWithSystem comesWithSystem,
                 Computer computer, QString file);

    std::optional<ModelRoute> routeWithout(const QStringList &models, const ModelTask &task) const override;
    QStringList choices(const ModelTask &task) const override;
    QString chosen(const ModelTask &task) const override;
    void choose(const ModelTask &task, const QString &id) override;

private:
    /// What a choice holds for: every region of a language, but for those that models of their own hear.
    ModelTask scope(const ModelTask &task) const;
    std::optional<ModelRoute> direct(const QStringList &without, const ModelTask &task) const;
    std::optional<ModelRoute> byWayOfEnglish(const QStringList &without, const ModelTask &task) const;
    bool isBetter(const ModelDescription &model, const ModelDescription &other, const ModelTask &task) const;
    double rating(const ModelDescription &model, const ModelTask &task) const;

    const ModelStore &m_store;
    const QStringList m_engines;
    const ComesWithSystem m_comesWithSystem;
    const Computer m_computer;
    TaskRecord m_chosen;
};

} // namespace quillora::platform
