#pragma once

#include "platform/ModelRoutes.h"

#include <QList>

#include <algorithm>
#include <utility>

namespace quillora::test {

using namespace Qt::StringLiterals;

/// Routes that the test lays.
class FakeModelRoutes : public platform::ModelRoutes {
public:
    /// What is installed is installed there.
    explicit FakeModelRoutes(const platform::ModelStore &store) : m_store(store) {}

    /// From now on any of these models, which the store knows, does the task, the recommended one first.
    void offer(const platform::ModelTask &task, const QStringList &choices) {
        m_offers.removeIf([&](const Offer &offer) { return offer.task == task; });
        m_offers.append({task, choices, {}});
    }

    /// From now on the system has something of its own that does the task.
    void comesWithSystem(const platform::ModelTask &task) { m_systems.append(task); }

    std::optional<platform::ModelRoute> routeWithout(const QStringList &models,
                                                     const platform::ModelTask &task) const override {
        const QStringList &languages = task.languages;
        if (task.kind == platform::ModelKind::translation && languages.first() == languages.last())
            return platform::ModelRoute{.models = {}, .isUsable = true};
        const auto direct = through(models, {task});
        const auto byWay = byWayOfEnglish(models, task);
        for (const auto &way : {direct, byWay}) {
            if (way && way->isUsable)
                return way;
        }
        if (m_systems.contains(task))
            return platform::ModelRoute{.models = {}, .isUsable = true};
        return direct ? direct : byWay;
    }

    QStringList choices(const platform::ModelTask &task) const override {
        const auto *offer = find(task);
        return offer ? offer->choices : QStringList();
    }
    QString chosen(const platform::ModelTask &task) const override {
        const auto *offer = find(task);
        return offer && offer->choices.contains(offer->chosen) ? offer->chosen : QString();
    }
    void choose(const platform::ModelTask &task, const QString &id) override {
        for (Offer &offer : m_offers) {
            if (offer.task == task)
                offer.chosen = id;
        }
    }

private:
    struct Offer {
        platform::ModelTask task;
        QStringList choices;
        QString chosen;
    };

    const Offer *find(const platform::ModelTask &task) const {
        const auto offer = std::find_if(m_offers.begin(), m_offers.end(),
                                        [&](const Offer &each) { return each.task == task; });
        return offer == m_offers.end() ? nullptr : &*offer;
    }

    std::optional<platform::ModelRoute> byWayOfEnglish(const QStringList &without,
                                                       const platform::ModelTask &task) const {
        const QString english = u"en"_s;
        if (task.kind != platform::ModelKind::translation || task.languages.contains(english))
            return {};
        return through(without, {platform::ModelTask::translating(task.languages.first(), english),
                                 platform::ModelTask::translating(english, task.languages.last())});
    }

    std::optional<platform::ModelRoute> through(const QStringList &without,
                                                const QList<platform::ModelTask> &steps) const {
        platform::ModelRoute route{.models = {}, .isUsable = true, .isByWayOfEnglish = steps.size() > 1};
        for (const auto &step : steps) {
            QStringList candidates = choices(step);
            if (const QString wanted = chosen(step); !wanted.isEmpty())
                candidates.prepend(wanted);
            candidates.removeIf([&](const QString &id) { return without.contains(id); });
            if (candidates.isEmpty())
                return {};
            const auto installed =
                std::find_if(candidates.begin(), candidates.end(),
                             [this](const QString &id) { return m_store.state(id).isInstalled(); });
            route.isUsable = route.isUsable && installed != candidates.end();
            const auto untried =
                std::find_if(candidates.begin(), candidates.end(), [this](const QString &id) {
                    return m_store.state(id).presence != platform::ModelState::Presence::unfit;
                });
            route.models += installed != candidates.end() ? *installed
                            : untried != candidates.end() ? *untried
                                                          : candidates.first();
        }
        return route;
    }

    const platform::ModelStore &m_store;
    QList<Offer> m_offers;
    QList<platform::ModelTask> m_systems;
};

} // namespace quillora::test
