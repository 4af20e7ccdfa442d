#pragma once

#include <QDateTime>
#include <QString>
#include <QStringList>

#include <optional>
#include <vector>

namespace quillora::platform {

/// Where the data of the en-US recognizer lies.
struct PocketSphinxData {
    QString acousticModel; ///< a folder
    QString languageModel; ///< a file
    QString dictionary;    ///< a file

    /// The folders of the system and the user in which the data may be installed, the best one first.
    static QStringList standardFolders();

    /// The first of `folders` that holds all parts; nothing if none does.
    static std::optional<PocketSphinxData> find(const QStringList &folders);

    /// Whether every part is whole as far as its own header tells. PocketSphinx itself does not look: data
    /// that was cut short crashes it or makes it recognise nonsense.
    bool isWhole() const;

    struct FileState {
        QString path;
        qint64 size = 0;
        QDateTime lastModified;

        bool operator==(const FileState &) const = default;
    };

    /// Changes whenever the data does.
    std::vector<FileState> fingerprint() const;

    bool operator==(const PocketSphinxData &) const = default;
};

} // namespace quillora::platform
