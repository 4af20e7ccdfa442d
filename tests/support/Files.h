#pragma once

#include <QByteArray>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QString>

#include <stdexcept>

namespace quillora::test {

/// Writes the file anew, and makes its folder where there is none.
inline void writeFile(const QString &path, const QByteArray &contents) {
    QDir().mkpath(QFileInfo(path).path());
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate) || file.write(contents) != contents.size() ||
        !file.flush())
        throw std::runtime_error("cannot write " + path.toStdString());
}

inline QByteArray readFile(const QString &path) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        throw std::runtime_error("cannot read " + path.toStdString());
    return file.readAll();
}

/// Overwrites the beginning of a file. Its size and its time stay, so that only reading it shows the change.
inline void changeSecretly(const QString &path, const QByteArray &beginning) {
    QFile file(path);
    if (!file.open(QIODevice::ReadWrite | QIODevice::ExistingOnly))
        throw std::runtime_error("cannot open " + path.toStdString());
    const auto time = file.fileTime(QFileDevice::FileModificationTime);
    if (file.write(beginning) != beginning.size() || !file.flush() ||
        !file.setFileTime(time, QFileDevice::FileModificationTime))
        throw std::runtime_error("cannot change " + path.toStdString());
}

} // namespace quillora::test
