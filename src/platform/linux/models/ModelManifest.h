#pragma once

#include "platform/linux/models/Checksum.h"
#include "platform/linux/models/ModelFault.h"

#include <QByteArray>
#include <QList>
#include <QString>

namespace quillora::platform {

/// What was installed of a model: the files of its folder, as they were found right then.
struct ModelManifest {
    struct File {
        QString name; ///< below the folder
        qint64 size = 0;
        qint64 modified = 0; ///< milliseconds since 1970
        QByteArray sha256;   ///< in hexadecimal digits

        bool operator==(const File &) const = default;
    };

    /// What the sizes and times of the files say, without reading them.
    enum class Glance { same, touched, damaged };

    QString id;
    QString version;
    QList<File> files;

    bool operator==(const ModelManifest &) const = default;

    /// Lists every file of the folder, and reads those whose checksums are not known.
    static ModelManifest of(const QString &folder, const QString &id, const QString &version,
                            const Checksums &known, const IsUnwanted &isUnwanted);

    /// Throws a ModelFault where it does not parse.
    static ModelManifest fromJson(const QByteArray &json);
    QByteArray toJson() const;

    /// `touched` where only times differ, as after a copy: the checksums decide.
    Glance glance(const QString &folder) const;

    /// When its files were last changed, as they are now.
    QList<qint64> times(const QString &folder) const;

    /// Reads every file, and names the first one that differs, in a sentence; null if none does.
    QString fault(const QString &folder, const IsUnwanted &isUnwanted) const;
};

} // namespace quillora::platform
