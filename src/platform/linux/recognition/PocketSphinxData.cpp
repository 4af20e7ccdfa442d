#include "platform/linux/recognition/PocketSphinxData.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QStandardPaths>
#include <QtEndian>

#include <algorithm>
#include <array>

namespace quillora::platform {

namespace {

const auto acousticParts = {
    u"mdef"_qs,        u"means"_qs,    u"variances"_qs, u"sendump"_qs, u"transition_matrices"_qs,
    u"feat.params"_qs, u"noisedict"_qs};

quint32 numberAt(const QByteArray &bytes, qsizetype position) {
    return qFromLittleEndian<quint32>(bytes.constData() + position);
}

bool hasNumbers(const QByteArray &bytes, qsizetype position, qsizetype count) {
    return position + count * qsizetype{sizeof(quint32)} <= bytes.size();
}

/// The binary form tells all its counts at its beginning; other forms are read with checks by the library.
bool isModelDefinitionWhole(QFile &file) {
    constexpr qsizetype headerLimit = qsizetype{64} * 1024;
    constexpr qsizetype countsInHeader = 10;
    const auto bytes = file.read(headerLimit);
    if (!bytes.startsWith("BMDF"))
        return !bytes.isEmpty();
    if (!hasNumbers(bytes, 4, 2))
        return false;
    const qsizetype counts = 12 + qsizetype{numberAt(bytes, 8)};
    if (!hasNumbers(bytes, counts, countsInHeader))
        return false;
    const auto count = [&](qsizetype index) { return qsizetype{numberAt(bytes, counts + 4 * index)}; };
    const auto basePhones = count(0), phones = count(1), states = count(2), sequences = count(6),
               treeNodes = count(8);

    const qsizetype names = counts + 4 * countsInHeader;
    qsizetype end = names;
    for (qsizetype phone = 0; phone < basePhones; ++phone) {
        end = bytes.indexOf('\0', end) + 1;
        if (end == 0)
            return false;
    }
    constexpr qsizetype treeNodeSize = 8, phoneSize = 12, lengthSize = 4, stateSize = 2;
    const qsizetype namesSize = (end - names + 3) / 4 * 4;
    const qsizetype fixedSize =
        names + namesSize + treeNodes * treeNodeSize + phones * phoneSize + lengthSize;
    // Where phones differ in their number of states, each sequence has at least one and a length of its own.
    const qsizetype sequenceSize = states > 0 ? states * stateSize : stateSize + 1;
    return file.size() >= fixedSize + sequences * sequenceSize;
}

/// The binary form ends in a block of words, as many as it has unigrams, with the block's length before it.
bool isLanguageModelWhole(QFile &file) {
    const QByteArray magic = "Trie Language Model";
    const auto header = file.read(magic.size() + 1 + qsizetype{sizeof(quint32)});
    if (!header.startsWith(magic))
        return !header.isEmpty();
    if (!hasNumbers(header, magic.size() + 1, 1))
        return false;
    const auto wordCount = qsizetype{numberAt(header, magic.size() + 1)};

    constexpr qsizetype longestWord = 64;
    const auto tailSize = std::min<qint64>(file.size(), wordCount * longestWord + qint64{sizeof(quint32)});
    file.seek(file.size() - tailSize);
    const auto tail = file.read(tailSize);
    if (!tail.endsWith('\0'))
        return false;
    qsizetype begin = tail.size();
    for (qsizetype word = 0; word <= wordCount && begin > 0; ++word)
        begin = tail.lastIndexOf('\0', begin - 1 - tail.size());
    const qsizetype length = tail.size() - begin - 1;
    constexpr qsizetype lengthSize = sizeof(quint32);
    return begin >= lengthSize - 1 && numberAt(tail, begin - lengthSize + 1) == length;
}

QByteArray lastLine(QFile &file) {
    constexpr qint64 enough = 4096;
    file.seek(std::max<qint64>(0, file.size() - enough));
    auto tail = file.read(enough);
    if (!tail.endsWith('\n'))
        return {};
    tail.chop(1);
    return tail.mid(tail.lastIndexOf('\n') + 1);
}

/// The dictionary is sorted and English: one that stops before its last letter was cut at the end of a line.
bool isDictionaryWhole(QFile &file) { return lastLine(file).startsWith('z'); }

bool areFeatureParametersWhole(QFile &file) { return !lastLine(file).isEmpty(); }

} // namespace

QStringList PocketSphinxData::standardFolders() {
    return QStandardPaths::locateAll(QStandardPaths::GenericDataLocation, u"pocketsphinx/model/en-us"_qs,
                                     QStandardPaths::LocateDirectory);
}

std::optional<PocketSphinxData> PocketSphinxData::find(const QStringList &folders) {
    for (const QString &folder : folders) {
        const QDir dir(folder);
        PocketSphinxData data{dir.filePath(u"en-us"_qs), dir.filePath(u"en-us.lm.bin"_qs),
                              dir.filePath(u"cmudict-en-us.dict"_qs)};
        const auto files = data.fingerprint();
        if (std::all_of(files.begin(), files.end(),
                        [](const auto &file) { return file.lastModified.isValid(); }))
            return data;
    }
    return std::nullopt;
}

bool PocketSphinxData::isWhole() const {
    struct Check {
        QString path;
        bool (*isWhole)(QFile &);
    };
    const QDir acoustic(acousticModel);
    const std::array checks{Check{acoustic.filePath(u"mdef"_qs), isModelDefinitionWhole},
                            Check{acoustic.filePath(u"feat.params"_qs), areFeatureParametersWhole},
                            Check{languageModel, isLanguageModelWhole}, Check{dictionary, isDictionaryWhole}};
    return std::all_of(checks.begin(), checks.end(), [](const Check &check) {
        QFile file(check.path);
        return file.open(QIODevice::ReadOnly) && check.isWhole(file);
    });
}

std::vector<PocketSphinxData::FileState> PocketSphinxData::fingerprint() const {
    QStringList paths{languageModel, dictionary};
    for (const auto &part : acousticParts)
        paths << QDir(acousticModel).filePath(part);
    std::vector<FileState> files;
    for (const QString &path : paths) {
        const QFileInfo info(path);
        files.push_back({path, info.exists() ? info.size() : 0, info.lastModified()});
    }
    return files;
}

} // namespace quillora::platform
