#include "platform/linux/recognition/PocketSphinxData.h"

#include <QCryptographicHash>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QStandardPaths>

#include <algorithm>
#include <array>
#include <utility>

using namespace Qt::StringLiterals;

namespace quillora::platform {

namespace {

constexpr qint64 beginningSize = 4096;

/// A file of Debian's pocketsphinx-en-us 0.8+5prealpha.
struct KnownFile {
    const char *name;
    qint64 size;
    const char *checksum;  ///< SHA-256
    const char *beginning; ///< the same of its first 4096 bytes
};

constexpr std::array acousticFiles{
    KnownFile{"mdef", 2959176, "2360f9a86889c1cfee8bd618a0269387911e5fb2920a594f506b18b8c79683b0",
              "595be1eba57f9d6d6ef9cbd6d825f3991b1c093cab050cec32284f9cf3ea7fa8"},
    KnownFile{"means", 838732, "832019e32cac12eb318964f96f469034acb12d0348eeddc3831831a100cb4dd4",
              "e84970a3b1e43106030cc3fc40b7d2621296ed860973efbad5bb489837de1f04"},
    KnownFile{"variances", 838732, "b00d696f85e96834fc10f8e5f06428d8c4db6bffdbe5845b6f69bf6efbc48fa5",
              "2eae9a453d348befd62542b68304e82557f7283b47f8ba1f3bec7ccf5af28f99"},
    KnownFile{"sendump", 1969024, "8c9564c0d5bef69ca9d9bf1014abe162f071644cf02cf1fa8a483c3dc165a7a8",
              "596dad4ebafbf34559ece5f54050571f9dbb9cc230e302c70e803e3d5d4eb5c6"},
    KnownFile{"transition_matrices", 2080, "c1f7f28ea43177be734be1f88bd7f1b9a853d0e660f8599c67c6eaeca8bb539a",
              "c1f7f28ea43177be734be1f88bd7f1b9a853d0e660f8599c67c6eaeca8bb539a"},
    KnownFile{"feat.params", 230, "9f8058c107ebbc42abef6d39c67c6aedbcf60ac371332e550994e12a0392cb02",
              "9f8058c107ebbc42abef6d39c67c6aedbcf60ac371332e550994e12a0392cb02"},
    KnownFile{"noisedict", 56, "7295b07df2c204c4f87c6782b6be1a3859d7006d4e3864181c955d6dab105a33",
              "7295b07df2c204c4f87c6782b6be1a3859d7006d4e3864181c955d6dab105a33"},
};
constexpr KnownFile languageModelFile{"en-us.lm.bin", 27114385,
                                      "db21d0642286677699e6dbc859d2e5395570222361999387ce60f6e1d01995d6",
                                      "7c653bbe1caf498f478a98f5ddc4aeebefd04ae95f39ea629377127d7dba6579"};
constexpr KnownFile dictionaryFile{"cmudict-en-us.dict", 3272051,
                                   "9de99dd2a24b63c653c1c30ab39388d05185cae36d0875f15c319b4ad6dc43af",
                                   "94c28bd740d210c0deca21108d377bd6333523f5df002baf65198deed962ba3d"};

enum class Growth { forbidden, allowed };

class Judge {
public:
    Judge(ModelCheck check, const RecognizerModel::IsUnwanted &isUnwanted)
        : m_check(check), m_isUnwanted(isUnwanted) {}

    ModelJudgement judge(const QString &path, const KnownFile &known, Growth growth) const {
        if (checksum(path, beginningSize) != known.beginning)
            return ModelJudgement::unknown;
        const qint64 size = QFileInfo(path).size();
        const bool hasRightSize = growth == Growth::allowed ? size >= known.size : size == known.size;
        const bool isRight =
            hasRightSize && (m_check == ModelCheck::sizes || checksum(path, known.size) == known.checksum);
        return isRight ? ModelJudgement::right : ModelJudgement::wrong;
    }

    /// One of which some files are the package's and others are not is no other version.
    ModelJudgement judgeAcousticModel(const QDir &folder) const {
        bool hasRight = false, hasUnknown = false;
        for (const auto &known : acousticFiles) {
            const auto one =
                judge(folder.filePath(QString::fromLatin1(known.name)), known, Growth::forbidden);
            if (one == ModelJudgement::wrong)
                return one;
            (one == ModelJudgement::right ? hasRight : hasUnknown) = true;
        }
        if (hasRight && hasUnknown)
            return ModelJudgement::wrong;
        return hasRight ? ModelJudgement::right : ModelJudgement::unknown;
    }

private:
    /// Of the first `size` bytes of a file, or of all that there are.
    QByteArray checksum(const QString &path, qint64 size) const {
        QFile file(path);
        QCryptographicHash hash(QCryptographicHash::Sha256);
        constexpr qint64 portion = qint64{1} << 16;
        if (file.open(QIODevice::ReadOnly)) {
            for (QByteArray bytes;
                 size > 0 && !m_isUnwanted() && !(bytes = file.read(std::min(size, portion))).isEmpty();) {
                hash.addData(bytes);
                size -= bytes.size();
            }
        }
        return hash.result().toHex();
    }

    const ModelCheck m_check;
    const RecognizerModel::IsUnwanted &m_isUnwanted;
};

} // namespace

QStringList PocketSphinxData::standardFolders() {
    return QStandardPaths::locateAll(QStandardPaths::GenericDataLocation, u"pocketsphinx/model/en-us"_s,
                                     QStandardPaths::LocateDirectory);
}

std::vector<PocketSphinxData> PocketSphinxData::findAll(const QStringList &folders) {
    std::vector<PocketSphinxData> found;
    for (const QString &folder : folders) {
        const QDir dir(folder);
        PocketSphinxData data{dir.filePath(u"en-us"_s),
                              dir.filePath(QString::fromLatin1(languageModelFile.name)),
                              dir.filePath(QString::fromLatin1(dictionaryFile.name))};
        const auto files = data.fingerprint();
        if (std::all_of(files.begin(), files.end(),
                        [](const auto &file) { return file.lastModified.isValid(); }))
            found.push_back(std::move(data));
    }
    return found;
}

ModelJudgement PocketSphinxData::judgement(ModelCheck check,
                                           const RecognizerModel::IsUnwanted &isUnwanted) const {
    const Judge judge(check, isUnwanted);
    return std::max({judge.judgeAcousticModel(acousticModel),
                     judge.judge(dictionary, dictionaryFile, Growth::allowed),
                     judge.judge(languageModel, languageModelFile, Growth::forbidden)});
}

RecognizerModel PocketSphinxData::model() const {
    return {"pocketsphinx",
            {QFile::encodeName(acousticModel).toStdString(), QFile::encodeName(languageModel).toStdString(),
             QFile::encodeName(dictionary).toStdString()},
            [data = *this, files = fingerprint()](ModelCheck check,
                                                  const RecognizerModel::IsUnwanted &isUnwanted) {
                const auto judgement = data.judgement(check, isUnwanted);
                return data.fingerprint() == files ? judgement : ModelJudgement::unknown;
            }};
}

std::vector<PocketSphinxData::FileState> PocketSphinxData::fingerprint() const {
    QStringList paths{languageModel, dictionary};
    for (const auto &known : acousticFiles)
        paths << QDir(acousticModel).filePath(QString::fromLatin1(known.name));
    std::vector<FileState> files;
    for (const QString &path : paths) {
        const QFileInfo info(path);
        files.push_back({path, info.exists() ? info.size() : 0, info.lastModified()});
    }
    return files;
}

} // namespace quillora::platform
