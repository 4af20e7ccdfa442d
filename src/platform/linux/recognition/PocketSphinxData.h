#pragma once

#include "platform/linux/recognition/RecognizerModel.h"

#include <QDateTime>
#include <QString>
#include <QStringList>

#include <vector>

namespace quillora::platform {

/// Where the data of the en-US recognizer lies.
struct PocketSphinxData {
    QString acousticModel; ///< a folder
    QString languageModel; ///< a file
    QString dictionary;    ///< a file

    /// The folders of the system and the user in which the data may be installed, the best one first.
    static QStringList standardFolders();

    /// What of `folders` holds all parts, in their order.
    static std::vector<PocketSphinxData> findAll(const QStringList &folders);

    /// Compares the files with those of the distribution's package, by size and checksum. Each of the three
    /// parts may be another version, which is not known; but one that begins as the package's does, or shares
    /// a file with it, should be the package's. Words may be appended to its dictionary. Checksums take a
    /// quarter of a second, or none once the judgement `isUnwanted`.
    ModelJudgement
    judgement(ModelCheck check, const RecognizerModel::IsUnwanted &isUnwanted = [] { return false; }) const;

    /// Of files that are not those of this call any more nothing is known.
    RecognizerModel model() const;

    struct FileState {
        QString path;
        qint64 size = 0;
        QDateTime lastModified;

        bool operator==(const FileState &) const = default;
    };

    /// Changes whenever the data does.
    std::vector<FileState> fingerprint() const;
};

} // namespace quillora::platform
