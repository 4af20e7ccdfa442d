#include "support/Recording.h"

#include <QDir>
#include <QFile>
#include <QRegularExpression>
#include <QStandardPaths>

#include <algorithm>
#include <cstring>
#include <stdexcept>

namespace quillora::test {

std::vector<Recording> Recording::all() {
    const QDir folder(QStandardPaths::locate(QStandardPaths::GenericDataLocation,
                                             u"pocketsphinx/test/data/librivox"_qs,
                                             QStandardPaths::LocateDirectory));
    QFile list(folder.filePath(u"transcription"_qs));
    if (!list.open(QIODevice::ReadOnly))
        throw std::runtime_error("the recordings are not installed");
    static const QRegularExpression line(u"^<s> (.*) </s> \\((.*)\\)$"_qs, QRegularExpression::MultilineOption);
    std::vector<Recording> recordings;
    auto matches = line.globalMatch(QString::fromUtf8(list.readAll()));
    while (matches.hasNext()) {
        const auto match = matches.next();
        recordings.push_back({folder.filePath(match.captured(2) + u".wav"_qs), match.captured(1)});
    }
    return recordings;
}

Recording Recording::of(const QString &spoken) {
    const auto recordings = all();
    return *std::find_if(recordings.begin(), recordings.end(),
                         [&](const Recording &recording) { return recording.spoken == spoken; });
}

platform::AudioBuffer Recording::sound() const {
    constexpr qsizetype headerSize = 44;
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        throw std::runtime_error("cannot read " + path.toStdString());
    const auto bytes = file.readAll().mid(headerSize);
    platform::AudioBuffer buffer{{16000, 1}, std::vector<qint16>(static_cast<size_t>(bytes.size() / 2))};
    std::memcpy(buffer.samples.data(), bytes.constData(), buffer.samples.size() * sizeof(qint16));
    return buffer;
}

} // namespace quillora::test
