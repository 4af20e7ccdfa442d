#include "platform/linux/models/LinuxModelStore.h"

#include "platform/ModelVersion.h"
#include "platform/linux/models/BackgroundPriority.h"
#include "platform/linux/models/Mirrors.h"
#include "platform/linux/models/SafePath.h"

#include <QDebug>

#include <algorithm>
#include <utility>

using namespace Qt::StringLiterals;

namespace quillora::platform {

namespace {

/// Progress is told ten times a second at most.
constexpr std::chrono::milliseconds betweenTellings{100};

/// Those that are asked, which may be mirrors.
QStringList hostsOf(const CatalogEntry &entry, const Mirrors &mirrors) {
    QList<QUrl> addresses;
    for (const ModelFile &file : entry.files)
        addresses += file.address;
    if (entry.index)
        addresses += {entry.index->address, entry.index->files};
    QStringList hosts;
    for (const QUrl &address : addresses)
        hosts += mirrors.routed(address).host();
    hosts.removeDuplicates();
    return hosts;
}

QList<ModelDescription> descriptionsIn(const ModelCatalog &catalog) {
    const Mirrors mirrors(catalog.mirrors());
    QList<ModelDescription> descriptions;
    for (const CatalogEntry &entry : catalog.entries()) {
        descriptions += entry.description;
        descriptions.last().hosts = hostsOf(entry, mirrors);
    }
    return descriptions;
}

} // namespace

class LinuxModelStore::Use : public ModelUse {
public:
    Use(LinuxModelStore &store, const InstalledModel &model, std::unique_ptr<FolderHold> hold)
        : m_version(model.version), m_folder(model.filesFolder()), m_hold(std::move(hold)),
          m_released(store.here([&store] { store.tryRemovals(); })) {}
    ~Use() override {
        m_hold.reset();
        m_released();
    }

    QString version() const override { return m_version; }
    QString folder() const override { return m_folder; }

private:
    const QString m_version;
    const QString m_folder;
    std::unique_ptr<FolderHold> m_hold;
    const std::function<void()> m_released;
};

LinuxModelStore::LinuxModelStore(MainQueue &queue, const QStringList &engines)
    : LinuxModelStore(queue, Ground{.folders = ModelFolders::standard(),
                                    .catalog = ModelCatalog(ModelCatalog::standardFiles(), engines)}) {}

LinuxModelStore::LinuxModelStore(MainQueue &queue, Ground ground)
    : m_queue(queue), m_ground(std::move(ground)), m_descriptions(descriptionsIn(m_ground.catalog)) {
    for (const QString &omission : m_ground.catalog.omissions())
        qWarning().noquote() << omission;
    m_queue.asyncAfter(m_ground.untilAllIsChecked, here([this] { checkEverything(); }));
}

LinuxModelStore::~LinuxModelStore() = default;

ModelState LinuxModelStore::state(const QString &id) const {
    requireKnown(id);
    return stateOf(id);
}

ModelState LinuxModelStore::stateOf(const QString &id) const {
    const Findings &found = findings(id);
    const Model &model = m_models[id];
    ModelState state;
    if (const Copy *copy = best(found)) {
        state.presence = copy->problem.isEmpty() ? ModelState::Presence::installed
                         : copy->isUnfit         ? ModelState::Presence::unfit
                                                 : ModelState::Presence::damaged;
        state.version = copy->model.version;
        state.isOwn = copy->model.isOwn;
        state.isLeaving = model.isLeaving;
        state.problem = copy->problem;
        state.remark = copy->remark;
    }
    if (m_waiting.contains(id))
        state.progress = model.progress;
    else
        state.isPaused = (found.hasParts || model.isPaused) && model.forgettingCount == 0 && !isCurrent(id);
    if (!model.removalFault.isNull()) {
        state.problem = model.removalFault;
    } else if (!model.installationFault.isNull() && !isCurrent(id)) {
        state.hasFailed = true;
        state.problem = model.installationFault;
    }
    return state;
}

void LinuxModelStore::requireKnown(const QString &id) const {
    if (!m_ground.catalog.find(id) && (!isFolderName(id) || findings(id).copies.isEmpty()))
        throw LocalizedError(u"There is no model \"%1\"."_s.arg(id));
}

const LinuxModelStore::Findings &LinuxModelStore::findings(const QString &id) const {
    auto &findings = m_models[id].findings;
    if (!findings || findings->changes != m_ground.folders.changes(id))
        findings = look(id);
    return *findings;
}

LinuxModelStore::Findings LinuxModelStore::look(const QString &id) const {
    Findings found{.changes = m_ground.folders.changes(id), .copies = {}, .hasParts = false};
    for (const InstalledModel &model : m_ground.folders.installed(id)) {
        Copy copy{.model = model, .problem = {}, .remark = {}};
        const auto glance =
            model.manifest ? model.manifest->glance(model.filesFolder()) : ModelManifest::Glance::damaged;
        copy.isTouched = glance == ModelManifest::Glance::touched;
        copy.problem = glance == ModelManifest::Glance::damaged
                           ? u"Files of it are missing, or not as they were installed."_s
                           : findingOn(model, m_damages).value_or(QString());
        if (copy.problem.isEmpty()) {
            copy.problem = findingOn(model, m_rejections).value_or(QString());
            copy.isUnfit = !copy.problem.isEmpty();
        }
        copy.remark = findingOn(model, m_remarks).value_or(model.remark);
        found.copies += copy;
    }
    found.hasParts = m_ground.folders.hasParts(id);
    return found;
}

/// The sentence, where something was found of that very installation.
std::optional<QString> LinuxModelStore::findingOn(const InstalledModel &model, const ByFolder &findings) {
    const auto finding = findings.constFind(model.folder);
    if (finding == findings.cend() || finding->manifest != model.manifest)
        return {};
    return finding->sentence;
}

/// The newest that is whole; else the newest.
const LinuxModelStore::Copy *LinuxModelStore::best(const Findings &findings) {
    const auto whole = std::find_if(findings.copies.begin(), findings.copies.end(),
                                    [](const Copy &copy) { return copy.problem.isEmpty(); });
    if (whole != findings.copies.end())
        return &*whole;
    return findings.copies.isEmpty() ? nullptr : &findings.copies.first();
}

/// Whether an installation would change nothing.
bool LinuxModelStore::isCurrent(const QString &id) const {
    const Copy *copy = best(findings(id));
    const CatalogEntry *entry = m_ground.catalog.find(id);
    return copy && copy->problem.isEmpty() &&
           !(entry && isNewer(entry->description.version, copy->model.version));
}

/// Whether it has other times than those it was installed with, or last checked at.
bool LinuxModelStore::isToBeChecked(const Copy &copy) const {
    return copy.isTouched &&
           m_checkedTimes.value(copy.model.folder) != copy.model.manifest->times(copy.model.filesFolder());
}

void LinuxModelStore::lookAgain(const QString &id) {
    const ModelState before = stateOf(id);
    m_models[id].findings.reset();
    if (stateOf(id) != before)
        tell(id);
}

void LinuxModelStore::install(const QString &id) {
    if (!m_ground.catalog.find(id))
        throw LocalizedError(u"There is no model \"%1\"."_s.arg(id));
    Model &model = m_models[id];
    model.isLeaving = false;
    model.removalFault.clear();
    for (const auto &removal : m_removals) {
        if (removal->id == id && removal->keptVersion.isNull())
            *removal->isUnwanted = true;
    }
    if (!m_waiting.contains(id) && !isCurrent(id)) {
        model.installationFault.clear();
        model.isPaused = false;
        model.progress = {};
        m_waiting += id;
        startNext();
    }
    tell(id);
}

void LinuxModelStore::pause(const QString &id) {
    requireKnown(id);
    if (!m_waiting.contains(id))
        return;
    m_models[id].isPaused = true;
    leaveQueue(id);
    tell(id);
}

void LinuxModelStore::cancel(const QString &id) {
    requireKnown(id);
    if (!m_waiting.contains(id) && !stateOf(id).isPaused)
        return;
    m_models[id].installationFault.clear();
    forget(id);
    tell(id);
}

void LinuxModelStore::remove(const QString &id) {
    requireKnown(id);
    Model &model = m_models[id];
    model.installationFault.clear();
    model.removalFault.clear();
    forget(id);
    const auto &copies = findings(id).copies;
    const bool isOwn =
        std::any_of(copies.begin(), copies.end(), [](const Copy &copy) { return copy.model.isOwn; });
    if (isOwn && !model.isLeaving) {
        model.isLeaving = true;
        beginRemoval(id, {});
    }
    tell(id);
}

std::unique_ptr<ModelUse> LinuxModelStore::use(const QString &id) {
    requireKnown(id);
    lookAgain(id);
    if (m_models[id].isLeaving)
        return nullptr;
    for (const Copy &copy : findings(id).copies) {
        if (!copy.problem.isEmpty())
            continue;
        auto hold = FolderHold::of(copy.model.folder, FolderHold::Kind::shared);
        if (!hold)
            continue;
        if (isToBeChecked(copy))
            m_checks.prepend(copy.model);
        auto use = std::make_unique<Use>(*this, copy.model, std::move(hold));
        startNextCheck();
        return use;
    }
    return nullptr;
}

void LinuxModelStore::check(const QString &id) {
    requireKnown(id);
    lookAgain(id);
    QList<InstalledModel> models;
    for (const Copy &copy : findings(id).copies)
        models += copy.model;
    m_checks = models + m_checks;
    startNextCheck();
}

void LinuxModelStore::reject(const QString &id, const QString &version, const QString &problem) {
    requireKnown(id);
    note(m_rejections, id, version, problem);
    check(id);
}

void LinuxModelStore::remark(const QString &id, const QString &version, const QString &remark) {
    requireKnown(id);
    note(m_remarks, id, version, remark);
    for (const Copy &copy : findings(id).copies) {
        if (copy.model.version == version)
            m_ground.folders.keepRemark(copy.model, remark);
    }
    lookAgain(id);
}

void LinuxModelStore::note(ByFolder &findings, const QString &id, const QString &version,
                           const QString &sentence) {
    for (const Copy &copy : this->findings(id).copies) {
        if (copy.model.version == version && copy.model.manifest)
            findings[copy.model.folder] = {*copy.model.manifest, sentence};
    }
}

ModelStore::ObserverToken LinuxModelStore::addObserver(std::function<void(const QString &)> handler) {
    m_observers[++m_lastToken] = std::move(handler);
    return m_lastToken;
}

void LinuxModelStore::removeObserver(ObserverToken observer) { m_observers.erase(observer); }

void LinuxModelStore::tell(const QString &id) {
    post([this, id] {
        for (const auto &[token, handler] : std::map(m_observers)) {
            if (m_observers.contains(token))
                handler(id);
        }
    });
}

void LinuxModelStore::tellProgress(const QString &id) {
    if (m_isProgressTold) {
        m_progressToTell = id;
        return;
    }
    tell(id);
    m_isProgressTold = true;
    m_queue.asyncAfter(betweenTellings, here([this] {
                           m_isProgressTold = false;
                           if (const auto next = std::exchange(m_progressToTell, std::nullopt))
                               tellProgress(*next);
                       }));
}

// Installations

InstallationThread &LinuxModelStore::installer() {
    if (!m_installer)
        m_installer.emplace(m_ground.folders, m_ground.catalog.mirrors(), m_ground.patience,
                            m_ground.makeProxies);
    return *m_installer;
}

void LinuxModelStore::startNext() {
    if (m_waiting.isEmpty() || m_underWay)
        return;
    const QString id = m_waiting.first();
    m_underWay = std::make_shared<std::atomic<bool>>(false);
    m_models[id].progress.step = ModelProgress::Step::preparing;
    const auto ifWanted = [this, isUnwanted = m_underWay](const auto &work) {
        post([isUnwanted, work] {
            if (!*isUnwanted)
                work();
        });
    };
    installer().install(
        *m_ground.catalog.find(id), m_underWay,
        {.progressed =
             [this, id, ifWanted](const ModelProgress &progress) {
                 ifWanted([this, id, progress] { progressed(id, progress); });
             },
         .ended = [this, id,
                   ifWanted](const QString &fault) { ifWanted([this, id, fault] { ended(id, fault); }); }});
    tell(id);
}

void LinuxModelStore::progressed(const QString &id, const ModelProgress &progress) {
    m_models[id].progress = progress;
    tellProgress(id);
}

void LinuxModelStore::ended(const QString &id, const QString &fault) {
    m_waiting.removeFirst();
    m_underWay.reset();
    Model &model = m_models[id];
    model.findings.reset();
    model.installationFault = fault;
    if (fault.isNull()) {
        beginRemoval(id, m_ground.catalog.find(id)->description.version);
    }
    tell(id);
    startNext();
}

bool LinuxModelStore::isUnderWay(const QString &id) const { return m_underWay && m_waiting.first() == id; }

/// It is not on its way any more. What came of it stays.
void LinuxModelStore::leaveQueue(const QString &id) {
    const bool isToBeBrokenOff = isUnderWay(id);
    m_waiting.removeAll(id);
    m_models[id].findings.reset();
    if (!isToBeBrokenOff)
        return;
    *m_underWay = true;
    m_underWay.reset();
    installer().breakOff([this, id] { post([this, id] { lookAgain(id); }); });
    startNext();
}

/// The same, but nothing that came stays.
void LinuxModelStore::forget(const QString &id) {
    // Of what was just paused something may come yet.
    const bool wasPaused = std::exchange(m_models[id].isPaused, false);
    const bool hasNothing = !isUnderWay(id) && !wasPaused && !findings(id).hasParts;
    leaveQueue(id);
    if (hasNothing)
        return;
    ++m_models[id].forgettingCount;
    installer().forget(id, [this, id] {
        post([this, id] {
            m_models[id].findings.reset();
            --m_models[id].forgettingCount;
            tell(id);
        });
    });
}

// Removals

void LinuxModelStore::beginRemoval(const QString &id, const QString &keptVersion) {
    m_removals += std::make_shared<Removal>(Removal{.id = id, .keptVersion = keptVersion});
    tryRemovals();
}

void LinuxModelStore::tryRemovals() {
    for (const auto &removal : m_removals) {
        removal->isToBeTried = std::exchange(removal->isUnderWay, true);
        if (removal->isToBeTried)
            continue;
        if (!m_remover)
            m_remover.emplace("model removal", &Worker::serve);
        m_remover->post([this, removal, id = removal->id, keptVersion = removal->keptVersion,
                         isUnwanted = removal->isUnwanted] {
            bool isDone = true;
            QString fault;
            try {
                for (const InstalledModel &model : m_ground.folders.installed(id)) {
                    if (model.isOwn && model.version != keptVersion && !*isUnwanted)
                        isDone = m_ground.folders.remove(model) && isDone;
                }
            } catch (const ModelFault &reason) {
                fault = reason.errorDescription();
            }
            post([this, removal, isDone, fault] { triedRemoval(removal, isDone, fault); });
        });
    }
}

void LinuxModelStore::triedRemoval(const std::shared_ptr<Removal> &removal, bool isDone,
                                   const QString &fault) {
    const QString id = removal->id;
    removal->isUnderWay = false;
    m_models[id].findings.reset();
    tell(id);
    if (*removal->isUnwanted) {
        m_removals.removeAll(removal);
        // It may have gone just before it was wanted again.
        if (!isCurrent(id) && !m_models[id].isLeaving)
            install(id);
    } else if (isDone || !fault.isNull()) {
        m_removals.removeAll(removal);
        if (!removal->keptVersion.isNull())
            return;
        m_models[id].isLeaving = false;
        m_models[id].removalFault = fault;
    } else if (removal->isToBeTried) {
        tryRemovals();
    } else if (!m_nextTry) {
        m_nextTry = m_queue.asyncAfter(m_ground.untilLeavingIsTriedAgain, here([this] {
                                           m_nextTry.reset();
                                           tryRemovals();
                                       }));
    }
}

// Checks

void LinuxModelStore::checkEverything() {
    for (const QString &id : m_ground.folders.ids()) {
        const auto &copies = findings(id).copies;
        for (const Copy &copy : copies)
            m_checks += copy.model;
        // What would have gone, had the program not ended before.
        const Copy *newest = best(findings(id));
        if (newest && newest->model.isOwn && newest->problem.isEmpty() && copies.size() > 1)
            beginRemoval(id, newest->model.version);
        if (isCurrent(id))
            forget(id);
        if (!m_ground.folders.remains(id).isEmpty())
            installer().tidyUp(id);
    }
    startNextCheck();
}

void LinuxModelStore::startNextCheck() {
    if (m_isChecking || m_checks.isEmpty())
        return;
    const InstalledModel model = m_checks.takeFirst();
    m_isChecking = true;
    if (model.manifest)
        m_checkedTimes[model.folder] = model.manifest->times(model.filesFolder());
    if (!m_checker)
        m_checker.emplace("model checks", [](Worker &worker) {
            yieldToEverybody();
            worker.serve();
        });
    m_checker->post([this, &checker = *m_checker, model] {
        QString problem;
        try {
            if (model.manifest)
                problem = model.manifest->fault(model.filesFolder(), [&] { return checker.isEnding(); });
        } catch (const Interruption &) {
            return;
        }
        post([this, model, problem] { checked(model, problem); });
    });
}

void LinuxModelStore::checked(const InstalledModel &model, const QString &problem) {
    m_isChecking = false;
    // It may have been removed or replaced while it was read.
    const auto copies = look(model.id).copies;
    const bool isStillThere = std::any_of(copies.begin(), copies.end(), [&](const Copy &copy) {
        return copy.model.folder == model.folder && copy.model.manifest == model.manifest;
    });
    if (problem.isNull() || !isStillThere)
        m_damages.remove(model.folder);
    else
        m_damages[model.folder] = {*model.manifest, problem};
    m_models[model.id].findings.reset();
    tell(model.id);
    startNextCheck();
}

} // namespace quillora::platform
