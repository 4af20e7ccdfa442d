#pragma once

#include "platform/MainQueue.h"
#include "platform/ModelStore.h"
#include "platform/linux/Worker.h"
#include "platform/linux/models/InstallationThread.h"
#include "platform/linux/models/ModelCatalog.h"
#include "platform/linux/models/ModelFolders.h"

#include <QHash>
#include <QList>

#include <chrono>
#include <map>
#include <memory>
#include <optional>

namespace quillora::platform {

/// The models below the XDG data folders. What is installed stands on the disk alone, and is looked up again
/// when a model's folder has changed, whoever changed it, and at each `use`.
///
/// Three threads do what takes long, each from when it is first needed: one, which gives way to the main
/// thread, installs; one removes; and one, which gives way to everything else, compares checksums.
class LinuxModelStore : public ModelStore {
public:
    struct Ground {
        ModelFolders folders;
        ModelCatalog catalog;
        DownloadPatience patience = {};
        InstallationThread::MakeProxies makeProxies = [](MainQueue &queue) {
            return std::make_unique<SystemProxies>(queue);
        };
        std::chrono::milliseconds untilAllIsChecked{60000}; ///< from its construction; programs start first
        std::chrono::milliseconds untilLeavingIsTriedAgain{5000}; ///< where another process uses it
    };

    /// Everything in its place on this computer, for these engines. The queue outlives the store.
    LinuxModelStore(MainQueue &queue, const QStringList &engines);
    LinuxModelStore(MainQueue &queue, Ground ground);
    ~LinuxModelStore() override;

    const QList<ModelDescription> &models() const override { return m_descriptions; }
    QStringList omissions() const override { return m_ground.catalog.omissions(); }
    ModelState state(const QString &id) const override;
    void install(const QString &id) override;
    void pause(const QString &id) override;
    void cancel(const QString &id) override;
    void remove(const QString &id) override;
    std::unique_ptr<ModelUse> use(const QString &id) override;
    void check(const QString &id) override;
    void reject(const QString &id, const QString &version, const QString &problem) override;
    void remark(const QString &id, const QString &version, const QString &remark) override;
    ObserverToken addObserver(std::function<void(const QString &id)> handler) override;
    void removeObserver(ObserverToken observer) override;

private:
    /// One that is on the disk, and what is wrong with it.
    struct Copy {
        InstalledModel model;
        QString problem; ///< empty if it is whole and fit as far as is known
        bool isUnfit = false;
        QString remark;
        bool isTouched = false;
    };

    /// What the disk said when it was looked at.
    struct Findings {
        QList<qint64> changes; ///< of the model's folders
        QList<Copy> copies;    ///< the newest first
        bool hasParts = false;
    };

    struct Model {
        std::optional<Findings> findings;
        QString installationFault; ///< of the last one; null if it went well
        QString removalFault;
        ModelProgress progress;
        bool isPaused = false; ///< by hand, whether or not anything has come
        bool isLeaving = false;
        int forgettingCount = 0; ///< what has been downloaded is being removed
    };

    struct Finding {
        ModelManifest manifest; ///< of what it is about; another is another model
        QString sentence;
    };
    using ByFolder = QHash<QString, Finding>;

    /// Of the user's own copies: all, or those that a newer version has made old.
    struct Removal {
        QString id;
        QString keptVersion; ///< null if none is kept
        InstallationThread::Flag isUnwanted = std::make_shared<std::atomic<bool>>(false);
        bool isUnderWay = false;
        bool isToBeTried = false; ///< again, since somebody has let go meanwhile
    };

    class Use;

    ModelState stateOf(const QString &id) const;
    void requireKnown(const QString &id) const;
    const Findings &findings(const QString &id) const;
    Findings look(const QString &id) const;
    static std::optional<QString> findingOn(const InstalledModel &model, const ByFolder &findings);
    void note(ByFolder &findings, const QString &id, const QString &version, const QString &sentence);
    static const Copy *best(const Findings &findings);
    bool isCurrent(const QString &id) const;
    bool isToBeChecked(const Copy &copy) const;

    void startNext();
    void progressed(const QString &id, const ModelProgress &progress);
    void ended(const QString &id, const QString &fault);
    bool isUnderWay(const QString &id) const;
    void leaveQueue(const QString &id);
    void forget(const QString &id);
    InstallationThread &installer();

    void beginRemoval(const QString &id, const QString &keptVersion);
    void tryRemovals();
    void triedRemoval(const std::shared_ptr<Removal> &removal, bool isDone, const QString &fault);

    void checkEverything();
    void startNextCheck();
    void checked(const InstalledModel &model, const QString &problem);

    void lookAgain(const QString &id);
    void tell(const QString &id);
    void tellProgress(const QString &id);

    /// `work`, for the main thread, which does it only while this lives. Threads of ours may ask for it.
    template <typename Work>
    std::function<void()> here(Work work) {
        return [life = std::weak_ptr(m_life), work = std::move(work)] {
            if (life.lock())
                work();
        };
    }
    template <typename Work>
    void post(Work work) {
        m_queue.async(here(std::move(work)));
    }

    MainQueue &m_queue;
    const Ground m_ground;
    const QList<ModelDescription> m_descriptions; ///< of the catalog
    const std::shared_ptr<int> m_life = std::make_shared<int>();
    mutable std::map<QString, Model> m_models;
    ByFolder m_damages;
    ByFolder m_rejections;
    ByFolder m_remarks;
    QStringList m_waiting;                   ///< in the order of installation; the first one is under way
    InstallationThread::Flag m_underWay;     ///< of the first one; none if it has not begun
    std::optional<QString> m_progressToTell; ///< since the last time
    bool m_isProgressTold = false;           ///< a moment ago
    QList<std::shared_ptr<Removal>> m_removals;
    std::shared_ptr<WorkItem> m_nextTry;
    QList<InstalledModel> m_checks; ///< the next one first
    bool m_isChecking = false;
    QHash<QString, QList<qint64>> m_checkedTimes; ///< of a folder's files, when they were last compared
    std::map<ObserverToken, std::function<void(const QString &)>> m_observers;
    ObserverToken m_lastToken = 0;

    // The last, so that they are the first to go.
    std::optional<InstallationThread> m_installer;
    std::optional<Worker> m_remover;
    std::optional<Worker> m_checker;
};

} // namespace quillora::platform
