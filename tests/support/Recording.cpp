#include "support/Recording.h"

#include <QDataStream>
#include <QDir>
#include <QFile>
#include <QRegularExpression>
#include <QStandardPaths>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <stdexcept>

using namespace Qt::StringLiterals;

namespace quillora::test {

std::vector<Recording> Recording::all() {
    const QDir folder(QStandardPaths::locate(QStandardPaths::GenericDataLocation,
                                             u"pocketsphinx/test/data/librivox"_s,
                                             QStandardPaths::LocateDirectory));
    QFile list(folder.filePath(u"transcription"_s));
    if (!list.open(QIODevice::ReadOnly))
        throw std::runtime_error("the recordings are not installed");
    static const QRegularExpression line(u"^<s> (.*) </s> \\((.*)\\)$"_s,
                                         QRegularExpression::MultilineOption);
    std::vector<Recording> recordings;
    auto matches = line.globalMatch(QString::fromUtf8(list.readAll()));
    while (matches.hasNext()) {
        const auto match = matches.next();
        recordings.push_back({folder.filePath(match.captured(2) + u".wav"_s), match.captured(1)});
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

platform::AudioBuffer Recording::soundOfWords() const {
    constexpr qint16 loudestSilence = 900;
    auto buffer = sound();
    auto &samples = buffer.samples;
    const auto isLoud = [](qint16 sample) { return std::abs(sample) > loudestSilence; };
    samples.erase(std::find_if(samples.rbegin(), samples.rend(), isLoud).base(), samples.end());
    samples.erase(samples.begin(), std::find_if(samples.begin(), samples.end(), isLoud));
    return buffer;
}

void speak(platform::Recognition &recognition, const platform::AudioBuffer &sound) {
    const size_t bufferSize = size_t{1024} * sound.format.channelCount;
    for (size_t begin = 0; begin < sound.samples.size(); begin += bufferSize) {
        const auto from = sound.samples.begin() + qsizetype(begin);
        const auto count = qsizetype(std::min(bufferSize, sound.samples.size() - begin));
        recognition.append({sound.format, {from, from + count}});
    }
}

void writeWave(const QString &path, const platform::AudioBuffer &sound) {
    constexpr quint16 pcm = 1, bits = 16;
    constexpr quint32 formatSize = 16, headerSize = 36;
    const auto channels = static_cast<quint16>(sound.format.channelCount);
    const auto rate = static_cast<quint32>(sound.format.sampleRate);
    const auto frameSize = static_cast<quint16>(channels * sizeof(qint16));
    const auto byteCount = static_cast<quint32>(sound.samples.size() * sizeof(qint16));
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly))
        throw std::runtime_error("cannot write " + path.toStdString());
    QDataStream out(&file);
    out.setByteOrder(QDataStream::LittleEndian);
    out.writeRawData("RIFF", 4);
    out << headerSize + byteCount;
    out.writeRawData("WAVEfmt ", 8);
    out << formatSize << pcm << channels << rate << rate * frameSize << frameSize << bits;
    out.writeRawData("data", 4);
    out << byteCount;
    for (const qint16 sample : sound.samples)
        out << sample;
}

} // namespace quillora::test
