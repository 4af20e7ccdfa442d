#include "platform/linux/models/ModelInstallation.h"

#include "platform/linux/models/Checksum.h"
#include "platform/linux/models/PublisherIndex.h"
#include "platform/linux/models/SyncedFile.h"
#include "platform/linux/models/Unpacking.h"

#include <QDir>
#include <QFileInfo>
#include <QLocale>
#include <QPointer>
#include <QStorageInfo>

#include <algorithm>
#include <unistd.h>
#include <utility>

using namespace Qt::StringLiterals;

namespace quillora::platform {

namespace {

constexpr std::size_t mostAtOnce = 3;
constexpr qint64 spaceToSpare = qint64{16} << 20;
constexpr qint64 timesItsSize = 3; ///< what comes out of a packed file, where nobody says
constexpr std::chrono::milliseconds untilItIsFree{500};
constexpr std::chrono::milliseconds tellingInterval{100};

QString sizeText(qint64 bytes) { return QLocale::c().formattedDataSize(bytes, 1, QLocale::DataSizeSIFormat); }

/// Of a file that is, or comes out of, what was downloaded: another is not taken up by the next installation.
void requireChecksum(const QByteArray &found, const QByteArray &published, const QString &name,
                     const QString &downloaded) {
    if (published.isEmpty() || found == published)
        return;
    Download::forget(downloaded);
    throw ModelFault(u"\"%1\" is not what its publisher describes: its checksum differs."_s.arg(name));
}

} // namespace

ModelInstallation::ModelInstallation(CatalogEntry entry, const ModelFolders &folders,
                                     const DownloadGround &ground, IsUnwanted isUnwanted, Listener listener)
    : m_entry(std::move(entry)), m_folders(folders), m_ground(ground), m_isUnwanted(std::move(isUnwanted)),
      m_listener(std::move(listener)) {
    m_telling.setInterval(tellingInterval);
    connect(&m_telling, &QTimer::timeout, this, &ModelInstallation::tell);
}

ModelInstallation::~ModelInstallation() { letGo(); }

void ModelInstallation::start() {
    m_clock.start();
    attempt([this] {
        m_lock = m_folders.lock(m_entry.description.id);
        if (!m_lock)
            throw ModelFault(u"The model is being installed by another program."_s);
        m_folders.removeRemains(m_entry.description.id);
        m_folders.removeOtherParts(m_entry.description.id, m_entry.description.version);
        if (!QDir().mkpath(partsFolder()))
            throw ModelFault(u"The folder \"%1\" cannot be written to."_s.arg(m_folders.own()));
        begin(ModelProgress::Step::preparing);
        if (m_entry.index)
            fetchIndex();
        else
            fetchFiles(m_entry.files);
    });
}

QString ModelInstallation::partsFolder() const {
    return m_folders.partsFolder(m_entry.description.id, m_entry.description.version);
}

QString ModelInstallation::partPath(std::size_t number) const {
    return partsFolder() + u'/' + QString::number(number);
}

QString ModelInstallation::newFilesFolder() const {
    return m_folders.newFolder(m_entry.description.id, m_entry.description.version) + u"/files"_s;
}

/// Anew each time: what an earlier one said may not hold any more.
void ModelInstallation::fetchIndex() {
    const QString path = partsFolder() + u"/index"_s;
    Download::forget(path);
    const auto ended = [this, path](const std::optional<ModelFault> &fault) {
        attempt([&] {
            if (fault)
                throw ModelFault(*fault);
            QFile file(path);
            if (!file.open(QIODevice::ReadOnly))
                throw ModelFault(u"The index could not be read: %1."_s.arg(file.errorString()));
            fetchFiles(filesOf(*m_entry.index, file.read(longestIndex + 1)));
        });
    };
    m_indexDownload =
        std::make_unique<Download>(ModelFile{.name = u"index"_s, .address = m_entry.index->address}, path,
                                   m_ground, Download::Listener{.ended = ended});
    m_indexDownload->start();
}

void ModelInstallation::fetchFiles(const QList<ModelFile> &files) {
    m_files = files;
    requireSpace(spaceToDownload());
    begin(ModelProgress::Step::downloading);
    for (std::size_t number = 0; number < mostAtOnce; ++number)
        fetchNext();
}

void ModelInstallation::fetchNext() {
    const std::size_t number = m_downloads.size();
    if (number == static_cast<std::size_t>(m_files.size()))
        return;
    m_downloads.push_back(
        std::make_unique<Download>(m_files[static_cast<qsizetype>(number)], partPath(number), m_ground,
                                   Download::Listener{.ended = [this](const auto &fault) { fetched(fault); },
                                                      .sized = [this] { requireSpace(spaceToDownload()); }}));
    m_downloads.back()->start();
    m_bytesBefore += m_downloads.back()->receivedBytes();
}

void ModelInstallation::fetched(const std::optional<ModelFault> &fault) {
    attempt([&] {
        if (fault)
            throw ModelFault(*fault);
        fetchNext();
        if (++m_arrivedCount == static_cast<std::size_t>(m_files.size()))
            checkAndUnpack();
    });
}

void ModelInstallation::checkAndUnpack() {
    begin(ModelProgress::Step::checking);
    for (std::size_t number = 0; number < m_downloads.size(); ++number) {
        const ModelFile &file = m_files[static_cast<qsizetype>(number)];
        if (file.sha256.isEmpty() && file.packing != ModelPacking::none)
            continue;
        const QByteArray found = checksumOf(partPath(number), m_isUnwanted);
        requireChecksum(found, file.sha256, file.name, partPath(number));
        if (file.packing == ModelPacking::none)
            m_checksums[file.name] = found;
    }
    qint64 packed = 0;
    for (std::size_t number = 0; number < m_downloads.size(); ++number) {
        if (m_files[static_cast<qsizetype>(number)].packing != ModelPacking::none)
            packed += QFileInfo(partPath(number)).size();
    }
    requireSpace(spaceToUnpack(packed) + spaceToSpare);
    begin(ModelProgress::Step::unpacking);
    for (std::size_t number = 0; number < m_downloads.size(); ++number)
        bring(m_files[static_cast<qsizetype>(number)], partPath(number));
    appear();
}

/// From where it was downloaded to where the model is made.
void ModelInstallation::bring(const ModelFile &file, const QString &downloaded) {
    const QString target = newFilesFolder() + u'/' + file.name;
    switch (file.packing) {
    case ModelPacking::archive:
        QDir().mkpath(newFilesFolder());
        m_checksums.insert(unpackArchive(downloaded, newFilesFolder(), {}, m_isUnwanted));
        break;
    case ModelPacking::gzip:
        m_checksums[file.name] = unpackGzip(downloaded, target, {}, m_isUnwanted);
        requireChecksum(m_checksums[file.name], file.contentSha256, file.name, downloaded);
        break;
    case ModelPacking::none: {
        // A link, so that what was downloaded is still there should a later file fail.
        QDir().mkpath(QFileInfo(target).path());
        if (::link(QFile::encodeName(downloaded).constData(), QFile::encodeName(target).constData()) != 0)
            throw ModelFault(u"\"%1\" could not be written: %2."_s.arg(file.name, qt_error_string()));
        syncFile(target);
        break;
    }
    }
}

void ModelInstallation::appear() {
    const QString &id = m_entry.description.id;
    if (!m_folders.publish(id, m_entry.description.version, m_checksums, m_isUnwanted)) {
        m_ground.queue.asyncAfter(untilItIsFree, [self = QPointer(this)] {
            if (self)
                self->attempt([&] { self->appear(); });
        });
        return;
    }
    m_folders.removeParts(id);
    end({});
}

/// For what is still to come and what is made of it, as far as anybody has said by now.
qint64 ModelInstallation::spaceToDownload() const {
    qint64 download = 0, here = 0;
    bool isKnown = true;
    for (std::size_t number = 0; number < static_cast<std::size_t>(m_files.size()); ++number) {
        const ModelFile &file = m_files[static_cast<qsizetype>(number)];
        auto size = number < m_downloads.size() ? m_downloads[number]->totalBytes() : file.size;
        if (!size)
            size = Download::broughtSize(file, partPath(number));
        download += size.value_or(0);
        isKnown = isKnown && size;
        here += QFileInfo(partPath(number)).size();
    }
    const ModelDescription &model = m_entry.description;
    if (!isKnown)
        download = std::max(download, model.downloadSize.value_or(model.installedSize.value_or(0)));
    return std::max<qint64>(0, download - here) + spaceToUnpack(timesItsSize * download) + spaceToSpare;
}

/// `otherwise` where nobody says how large the model is once it is installed.
qint64 ModelInstallation::spaceToUnpack(qint64 otherwise) const {
    const bool isPacked = std::any_of(m_files.begin(), m_files.end(), [](const ModelFile &file) {
        return file.packing != ModelPacking::none;
    });
    return isPacked ? m_entry.description.installedSize.value_or(otherwise) : 0;
}

void ModelInstallation::requireSpace(qint64 bytes) const {
    const qint64 free = QStorageInfo(m_folders.own()).bytesAvailable();
    if (free < bytes)
        throw ModelFault(u"The model needs %1 on the disk, and %2 are free. Make room for it."_s.arg(
            sizeText(bytes), sizeText(free)));
}

void ModelInstallation::begin(ModelProgress::Step step) {
    m_step = step;
    m_telling.start();
    tell();
}

void ModelInstallation::tell() {
    const auto now = progress();
    if (now == m_told)
        return;
    m_told = now;
    m_listener.progressed(now);
}

ModelProgress ModelInstallation::progress() {
    ModelProgress progress;
    progress.step = m_step;
    if (m_indexDownload)
        progress.obstacle = m_indexDownload->obstacle();
    qint64 total = 0;
    bool isTotalKnown = m_downloads.size() == static_cast<std::size_t>(m_files.size());
    for (const auto &download : m_downloads) {
        progress.receivedBytes += download->receivedBytes();
        total += download->totalBytes().value_or(0);
        if (progress.obstacle.isEmpty())
            progress.obstacle = download->obstacle();
        isTotalKnown = isTotalKnown && download->totalBytes();
    }
    if (isTotalKnown && total > 0)
        progress.totalBytes = total;
    if (m_step == ModelProgress::Step::downloading) {
        m_speed.note(std::chrono::milliseconds(m_clock.elapsed()), progress.receivedBytes - m_bytesBefore);
        progress.bytesPerSecond = m_speed.bytesPerSecond();
    }
    if (progress.totalBytes && progress.bytesPerSecond > 0)
        progress.timeLeft = std::chrono::seconds((total - progress.receivedBytes) / progress.bytesPerSecond);
    return progress;
}

void ModelInstallation::attempt(const std::function<void()> &work) {
    if (m_isOver)
        return;
    try {
        work();
    } catch (const Interruption &) {
        m_isOver = true;
        m_telling.stop();
    } catch (const ModelFault &fault) {
        end(fault.errorDescription());
    }
}

void ModelInstallation::end(const QString &fault) {
    m_isOver = true;
    m_telling.stop();
    m_downloads.clear();
    m_indexDownload.reset();
    letGo();
    m_ground.queue.async([self = QPointer(this), fault] {
        if (!self)
            return;
        const auto ended = self->m_listener.ended; // outlives the installation
        ended(fault);
    });
}

/// What was being made of the download takes as much room as the model, and is of no use to anybody.
void ModelInstallation::letGo() {
    if (m_lock)
        m_folders.removeRemains(m_entry.description.id);
    m_lock.reset();
}

} // namespace quillora::platform
