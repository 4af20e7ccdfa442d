#pragma once

#include "fakes/CallLog.h"
#include "platform/MainQueue.h"
#include "platform/ModelStore.h"
#include "platform/ModelVersion.h"

#include <algorithm>
#include <map>
#include <memory>
#include <tuple>
#include <utility>

namespace quillora::test {

using namespace Qt::StringLiterals;

/// A store in memory, empty at first. What is asked for is queued, and nothing arrives until the test says
/// so; a test may also put models where it wants them.
class FakeModelStore : public platform::ModelStore {
public:
    enum class Owner { user, administrator };

    FakeModelStore(CallLog &log, platform::MainQueue &queue) : m_log(log), m_queue(queue) {}

    const QList<platform::ModelDescription> &models() const override { return m_models; }
    QStringList omissions() const override { return omitted; }

    platform::ModelState state(const QString &id) const override {
        requireKnown(id);
        const Model &model = modelOf(id);
        platform::ModelState state;
        if (const Copy *copy = best(model)) {
            state.presence = copy->problem.isEmpty() ? platform::ModelState::Presence::installed
                             : copy->isUnfit         ? platform::ModelState::Presence::unfit
                                                     : platform::ModelState::Presence::damaged;
            state.version = copy->version;
            state.isOwn = copy->owner == Owner::user;
            state.isLeaving = model.isLeaving;
            state.problem = copy->problem;
            state.remark = copy->remark;
        }
        if (m_waiting.contains(id))
            state.progress = model.progress;
        else
            state.isPaused = model.isPaused || model.progress.receivedBytes > 0;
        if (!model.failure.isEmpty()) {
            state.hasFailed = true;
            state.problem = model.failure;
        }
        return state;
    }

    void install(const QString &id) override {
        m_log.add(u"models.install "_s + id);
        if (!description(id))
            throw unknown(id);
        Model &model = m_known[id];
        const Copy *copy = best(model);
        const bool isCurrent =
            copy && copy->problem.isEmpty() && !platform::isNewer(description(id)->version, copy->version);
        if (m_waiting.contains(id) || (isCurrent && !model.isLeaving))
            return;
        model.isLeaving = false;
        model.isPaused = false;
        model.failure.clear();
        if (!isCurrent) {
            m_waiting += id;
            startNext();
        }
        tell(id);
    }

    void pause(const QString &id) override {
        m_log.add(u"models.pause "_s + id);
        requireKnown(id);
        if (!m_waiting.contains(id))
            return;
        m_known[id].isPaused = true;
        end(id);
        tell(id);
    }

    void cancel(const QString &id) override {
        m_log.add(u"models.cancel "_s + id);
        requireKnown(id);
        if (!m_waiting.contains(id) && !state(id).isPaused)
            return;
        m_known[id].progress = {};
        m_known[id].isPaused = false;
        end(id);
        tell(id);
    }

    void remove(const QString &id) override {
        m_log.add(u"models.remove "_s + id);
        requireKnown(id);
        Model &model = m_known[id];
        model.progress = {};
        model.isPaused = false;
        model.failure.clear();
        end(id);
        model.isLeaving = std::any_of(model.copies.begin(), model.copies.end(),
                                      [](const Copy &copy) { return copy.owner == Owner::user; });
        leaveUnused(model);
        tell(id);
    }

    std::unique_ptr<platform::ModelUse> use(const QString &id) override {
        m_log.add(u"models.use "_s + id);
        requireKnown(id);
        Model &model = m_known[id];
        const Copy *copy = best(model);
        if (!copy || !copy->problem.isEmpty() || model.isLeaving)
            return nullptr;
        return std::make_unique<Use>(*this, id, copy->version, copy->folder, copy->users);
    }

    void check(const QString &id) override {
        m_log.add(u"models.check "_s + id);
        requireKnown(id);
        for (Copy &copy : m_known[id].copies) {
            if (copy.hiddenProblem.isEmpty())
                continue;
            copy.problem = std::exchange(copy.hiddenProblem, {});
            copy.isUnfit = false;
        }
        tell(id);
    }

    void reject(const QString &id, const QString &version, const QString &problem) override {
        m_log.add(u"models.reject %1 %2: %3"_s.arg(id, version, problem));
        requireKnown(id);
        for (Copy &copy : m_known[id].copies) {
            if (copy.version == version && (copy.problem.isEmpty() || copy.isUnfit)) {
                copy.problem = problem;
                copy.isUnfit = true;
            }
        }
        check(id);
    }

    void remark(const QString &id, const QString &version, const QString &remark) override {
        m_log.add(u"models.remark %1 %2: %3"_s.arg(id, version, remark));
        requireKnown(id);
        for (Copy &copy : m_known[id].copies) {
            if (copy.version == version)
                copy.remark = remark;
        }
        tell(id);
    }

    ObserverToken addObserver(std::function<void(const QString &id)> handler) override {
        m_observers[++m_lastToken] = std::move(handler);
        return m_lastToken;
    }
    void removeObserver(ObserverToken observer) override { m_observers.erase(observer); }

    // What the test decides.

    QStringList omitted;

    /// Puts a model at the end of the catalog, or in the place of the one of that id.
    void offer(const platform::ModelDescription &model) {
        const auto same = std::find_if(m_models.begin(), m_models.end(),
                                       [&](const auto &other) { return other.id == model.id; });
        if (same == m_models.end())
            m_models += model;
        else
            *same = model;
        tell(model.id);
    }

    /// Lets it be there, as if it had been installed long ago. `folder` is what its users are told.
    void place(const QString &id, const QString &version, const QString &folder = {},
               Owner owner = Owner::user) {
        Model &model = m_known[id];
        model.copies.removeIf(
            [&](const Copy &copy) { return copy.version == version && copy.owner == owner; });
        Copy copy;
        copy.version = version;
        copy.folder = folder.isNull() ? u"/models/"_s + id + u'/' + version : folder;
        copy.owner = owner;
        model.copies += copy;
        tell(id);
    }

    /// What is being installed; null if nothing is. The queue behind it too.
    QString underWay() const { return m_waiting.value(0); }
    const QStringList &waiting() const { return m_waiting; }

    /// How far what is being installed is.
    void progress(const platform::ModelProgress &progress) {
        m_known[underWay()].progress = progress;
        tell(underWay());
    }

    /// What is being installed is there, in the catalog's version; old ones leave.
    void arrive(const QString &folder = {}) {
        const QString id = underWay();
        const QString version = description(id)->version;
        Model &model = m_known[id];
        model.progress = {};
        end(id);
        place(id, version, folder);
        for (Copy &copy : model.copies)
            copy.isOld = copy.owner == Owner::user && copy.version != version;
        leaveUnused(model);
    }

    /// What is being installed is not to be had, for the reason that the user is told.
    void fail(const QString &problem) {
        const QString id = underWay();
        m_known[id].failure = problem;
        end(id);
        tell(id);
    }

    /// The installed model is found to be damaged; the reason that the user is told.
    void damage(const QString &id, const QString &problem) {
        best(m_known[id])->problem = problem;
        tell(id);
    }

    /// The same, but nobody finds out before it is checked.
    void damageSecretly(const QString &id, const QString &problem) {
        best(m_known[id])->hiddenProblem = problem;
    }

    qsizetype observerCount() const { return static_cast<qsizetype>(m_observers.size()); }

private:
    struct Copy {
        QString version;
        QString folder;
        Owner owner = Owner::user;
        QString problem;       ///< empty while it is whole
        QString hiddenProblem; ///< for a check to find
        bool isUnfit = false;  ///< that is the problem
        QString remark;
        bool isOld = false; ///< leaves once nobody uses it
        std::shared_ptr<int> users = std::make_shared<int>(0);
    };
    struct Model {
        QList<Copy> copies;
        platform::ModelProgress progress;
        bool isPaused = false; ///< by hand
        bool isLeaving = false;
        QString failure;
    };

    class Use : public platform::ModelUse {
    public:
        Use(FakeModelStore &store, QString id, QString version, QString folder, std::shared_ptr<int> users)
            : m_store(store), m_id(std::move(id)), m_version(std::move(version)), m_folder(std::move(folder)),
              m_users(std::move(users)) {
            ++*m_users;
        }
        ~Use() override {
            --*m_users;
            m_store.leaveUnused(m_store.m_known[m_id]);
            m_store.tell(m_id);
        }
        QString version() const override { return m_version; }
        QString folder() const override { return m_folder; }

    private:
        FakeModelStore &m_store;
        const QString m_id, m_version, m_folder;
        const std::shared_ptr<int> m_users;
    };

    static LocalizedError unknown(const QString &id) {
        return LocalizedError(u"There is no model \"%1\"."_s.arg(id));
    }
    void requireKnown(const QString &id) const {
        if (!description(id) && modelOf(id).copies.isEmpty())
            throw unknown(id);
    }
    const Model &modelOf(const QString &id) const {
        static const Model none;
        const auto found = m_known.find(id);
        return found == m_known.end() ? none : found->second;
    }

    /// The newest that is whole; else the newest.
    static const Copy *best(const Model &model) {
        const Copy *best = nullptr;
        const auto rank = [](const Copy &copy) {
            return std::tuple(copy.problem.isEmpty(), copy.version, copy.owner == Owner::user);
        };
        for (const Copy &copy : model.copies) {
            if (!best || rank(copy) > rank(*best))
                best = &copy;
        }
        return best;
    }
    static Copy *best(Model &model) { return const_cast<Copy *>(best(std::as_const(model))); }

    static void leaveUnused(Model &model) {
        model.copies.removeIf([&](const Copy &copy) {
            return copy.owner == Owner::user && (model.isLeaving || copy.isOld) && *copy.users == 0;
        });
        model.isLeaving =
            model.isLeaving && std::any_of(model.copies.begin(), model.copies.end(),
                                           [](const Copy &copy) { return copy.owner == Owner::user; });
    }

    /// Takes it out of the queue.
    void end(const QString &id) {
        m_waiting.removeAll(id);
        m_known[id].progress.step = platform::ModelProgress::Step::waiting;
        startNext();
    }

    void startNext() {
        if (m_waiting.isEmpty())
            return;
        auto &step = m_known[underWay()].progress.step;
        if (step != platform::ModelProgress::Step::waiting)
            return;
        step = platform::ModelProgress::Step::preparing;
        tell(underWay());
    }

    void tell(const QString &id) {
        m_queue.async([this, id] {
            for (const auto &[token, handler] : std::map(m_observers)) {
                if (m_observers.contains(token))
                    handler(id);
            }
        });
    }

    CallLog &m_log;
    platform::MainQueue &m_queue;
    QList<platform::ModelDescription> m_models;
    std::map<QString, Model> m_known;
    QStringList m_waiting; ///< the first one is being installed
    std::map<ObserverToken, std::function<void(const QString &)>> m_observers;
    ObserverToken m_lastToken = 0;
};

} // namespace quillora::test
