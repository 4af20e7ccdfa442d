#pragma once

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QStandardPaths>
#include <QTemporaryDir>

#include <functional>
#include <stdexcept>

namespace quillora::test {

using namespace Qt::StringLiterals;

/// A copy of the installed recognizer data that a test may damage.
class ModelFolder {
public:
    ModelFolder() {
        copy({});
        copy(u"en-us"_s);
    }

    QString path() const { return m_folder.path(); }

    /// Leaves the first `size` bytes of a file; `name` is relative to the folder.
    void truncate(const QString &name, qint64 size) const {
        change(name, [size](QByteArray &bytes) { bytes.truncate(size); });
    }
    void change(const QString &name, const std::function<void(QByteArray &)> &change) const {
        QFile source(installed().filePath(name));
        QFile::remove(file(name));
        QFile target(file(name));
        if (!source.open(QIODevice::ReadOnly) || !target.open(QIODevice::WriteOnly))
            throw std::runtime_error("cannot change " + name.toStdString());
        auto bytes = source.readAll();
        change(bytes);
        target.write(bytes);
    }
    void remove(const QString &name) const { QFile::remove(file(name)); }
    void repair(const QString &name) const {
        remove(name);
        QFile::link(installed().filePath(name), file(name));
    }
    static qint64 sizeOf(const QString &name) { return QFileInfo(installed().filePath(name)).size(); }

private:
    static QDir installed() {
        return QDir(QStandardPaths::locate(QStandardPaths::GenericDataLocation, u"pocketsphinx/model/en-us"_s,
                                           QStandardPaths::LocateDirectory));
    }
    QString file(const QString &name) const { return m_folder.filePath(name); }
    void copy(const QString &subfolder) const {
        const QDir source(installed().filePath(subfolder));
        const QDir target(file(subfolder));
        target.mkpath(u"."_s);
        for (const auto &entry : source.entryInfoList(QDir::Files))
            QFile::link(entry.filePath(), target.filePath(entry.fileName()));
    }

    QTemporaryDir m_folder;
};

} // namespace quillora::test
