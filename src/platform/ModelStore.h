#pragma once

#include "platform/LocalizedError.h"

#include <QList>
#include <QMap>
#include <QString>
#include <QStringList>
#include <QUrl>

#include <chrono>
#include <functional>
#include <memory>
#include <optional>

namespace quillora::platform {

enum class ModelKind { speech, translation, voiceActivity };

/// How much of a computer a model asks for, in its publisher's range.
enum class ModelSizeClass { unknown, light, medium, large };

/// Of which files of a model a checksum is known before they come. Without one it is only known that what was
/// installed stays as it was.
enum class ModelChecksums { all, some, none };

/// How well a model does, as its publisher says.
struct ModelScore {
    double value = 0;
    QString measure; ///< what was measured, as in "FLORES COMET x 100"
    QString source;  ///< who published it

    bool operator==(const ModelScore &) const = default;
};

/// A model that can be had. What is not known is empty or absent, never guessed.
struct ModelDescription {
    QString id;
    ModelKind kind = ModelKind::speech;
    QString version;
    QStringList languages; ///< codes such as "en" that are heard; of a translation its source and its target
    QStringList weakerLanguages;       ///< those of them that it hears worse than other models of its size do
    QString engine;                    ///< what reads it
    QMap<QString, QString> parameters; ///< for the engine, which knows what they mean
    std::optional<qint64> downloadSize;  ///< bytes that come over the network, roughly
    std::optional<qint64> installedSize; ///< bytes on disk, roughly
    QString licence;
    QUrl licenceAddress; ///< where it can be read, over HTTPS; none without a licence
    QString publisher;
    ModelChecksums checksums = ModelChecksums::all;
    QStringList hosts; ///< names of the servers that it comes from, each once
    ModelSizeClass sizeClass = ModelSizeClass::unknown;
    std::optional<bool> punctuates;
    std::optional<ModelScore> score;
    std::optional<qint64> memory; ///< bytes that the engine needs with it, roughly

    bool operator==(const ModelDescription &) const = default;
};

/// How far an installation is.
struct ModelProgress {
    enum class Step { waiting, preparing, downloading, checking, unpacking };

    Step step = Step::waiting;
    qint64 receivedBytes = 0;
    std::optional<qint64> totalBytes; ///< once it is known
    qint64 bytesPerSecond = 0;        ///< over the last seconds
    std::optional<std::chrono::seconds> timeLeft;
    QString obstacle; ///< why nothing comes, as long as nobody can be reached; a sentence. It is tried again.

    /// From 0 to 100, if the total is known.
    std::optional<int> percent() const {
        if (!totalBytes || *totalBytes <= 0)
            return {};
        return static_cast<int>(receivedBytes * 100 / *totalBytes);
    }

    bool operator==(const ModelProgress &) const = default;
};

/// What there is of one model on this computer.
struct ModelState {
    enum class Presence {
        absent,
        installed,
        damaged, ///< it is there, and its files are not what was installed; installing repairs it
        unfit    ///< it is there, and an engine rejected it
    };

    Presence presence = Presence::absent;
    QString version;                       ///< the installed one
    bool isOwn = false;                    ///< the user's own, which can be removed, not the administrator's
    std::optional<ModelProgress> progress; ///< while it is being installed or waits for its turn
    bool isPaused = false;                 ///< it was begun, and goes on only if asked
    bool hasFailed = false;                ///< its last installation did, for the reason that `problem` tells
    bool isLeaving = false;                ///< it is removed as soon as nobody uses it
    QString problem; ///< why the last installation failed, what is damaged, or why it is unfit; a sentence

    QString remark; ///< what an engine found out about it, which works all the same; a sentence

    bool isInstalled() const { return presence == Presence::installed; }

    bool operator==(const ModelState &) const = default;
};

/// A model that stays where it is as long as this object lives, even if it is removed or replaced meanwhile.
class ModelUse {
public:
    virtual ~ModelUse() = default;

    virtual QString version() const = 0;

    /// Where its files lie, under the names that the publisher gave them. Not to be written to.
    virtual QString folder() const = 0;
};

/// The models of the engines: what exists, what is installed, and the way from the one to the other. Nothing
/// is downloaded unless asked for, and nothing but data. Main thread only; nothing here waits for the network
/// or for the whole of a file. A model is known by its id; an operation on one that is neither in the catalog
/// nor installed throws a LocalizedError.
class ModelStore {
public:
    using ObserverToken = quint64;

    virtual ~ModelStore() = default;

    /// What can be had, in the order of the catalog. It is asked for often, and costs nothing.
    virtual const QList<ModelDescription> &models() const = 0;

    /// None if it cannot be had.
    std::optional<ModelDescription> description(const QString &id) const {
        for (const ModelDescription &model : models()) {
            if (model.id == id)
                return model;
        }
        return {};
    }

    /// What the catalog says that cannot be used, a sentence each. It stays the same for the whole run.
    virtual QStringList omissions() const = 0;

    virtual ModelState state(const QString &id) const = 0;

    /// Downloads and installs the model after those that were asked for before; goes on where it was paused
    /// or broken off; repairs one that is damaged; keeps one that is leaving. Does nothing if it is on its
    /// way, or installed whole in the catalog's version or a newer one. What becomes of it is told by the
    /// state. One that is not in the catalog throws a LocalizedError.
    virtual void install(const QString &id) = 0;

    /// Ends its installation, and keeps what has been downloaded. Does nothing if it is not on its way. What
    /// was paused before anything came is so until the program ends.
    virtual void pause(const QString &id) = 0;

    /// Ends its installation, and forgets what has been downloaded. An installed version stays.
    virtual void cancel(const QString &id) = 0;

    /// Removes the user's own copy, as soon as nobody uses it, and forgets what has been downloaded. An
    /// administrator's stays.
    virtual void remove(const QString &id) = 0;

    /// The newest version that is installed, whole as far as sizes and times tell, and not rejected; none if
    /// there is none, or if it is leaving.
    virtual std::unique_ptr<ModelUse> use(const QString &id) = 0;

    /// To be called by who could not load it: its checksums are compared, and the state tells what is found.
    virtual void check(const QString &id) = 0;

    /// To be called by an engine that cannot do with that version, for a reason that lies with the model: it
    /// counts as not installed until it is installed anew or the program starts again. It is checked, too:
    /// it may have been damaged. Does nothing where that version is not there.
    virtual void reject(const QString &id, const QString &version, const QString &problem) = 0;

    /// To be called by an engine that found out something about that version; an empty text takes that back.
    /// It goes with that installation; an administrator's copy keeps it until the program ends. Does nothing
    /// where that version is not there.
    virtual void remark(const QString &id, const QString &version, const QString &remark) = 0;

    /// Calls `handler` from the event loop with the id of a model whose state has changed. Progress is told
    /// ten times a second at most.
    virtual ObserverToken addObserver(std::function<void(const QString &id)> handler) = 0;

    /// The handler is not called any more.
    virtual void removeObserver(ObserverToken observer) = 0;
};

} // namespace quillora::platform
