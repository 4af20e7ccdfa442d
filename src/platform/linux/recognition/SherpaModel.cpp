#include "platform/linux/recognition/SherpaModel.h"

#include "recognizer/protocol/SherpaFiles.h"

#include <QDirIterator>
#include <QFile>
#include <QFileInfo>
#include <QStringList>

#include <algorithm>
#include <filesystem>

using namespace Qt::StringLiterals;

namespace quillora::platform {

namespace {

const QString wholeModel; // its file is named as its publisher likes
const QStringList parts{u"encoder"_s, u"decoder"_s, u"joiner"_s};

/// What a model of the family consists of, in the engine's order; empty if the family is not known.
QStringList partsOf(const QString &family) {
    if (family.endsWith(u"-transducer"_s))
        return parts;
    if (family == u"whisper"_s || family == u"canary"_s)
        return parts.first(2);
    if (family.endsWith(u"-ctc"_s) || family == u"sense-voice"_s)
        return {wholeModel};
    return {};
}

bool isPart(const QString &path, const QString &part) {
    const QString name = QFileInfo(path).fileName();
    if (!name.endsWith(u".onnx"_s))
        return false;
    const auto names = [&name](const QString &one) { return name.contains(one); };
    return part == wholeModel ? std::none_of(parts.begin(), parts.end(), names) : names(part);
}

bool isQuantised(const QString &path) { return path.contains(u".int8."_s); }

QStringList filesBelow(const QString &folder) {
    QStringList paths;
    for (QDirIterator files(folder, QDir::Files, QDirIterator::Subdirectories); files.hasNext();)
        paths += files.next();
    std::sort(paths.begin(), paths.end(), [](const QString &one, const QString &other) {
        return isQuantised(one) != isQuantised(other) ? isQuantised(one) : one < other;
    });
    return paths;
}

} // namespace

bool hasSherpaLibrary(const std::string &program) {
    const auto folder = std::filesystem::path(program).parent_path();
    return std::all_of(recognizer::sherpaLibraryFiles.begin(), recognizer::sherpaLibraryFiles.end(),
                       [&folder](const char *name) {
                           std::error_code error;
                           return std::filesystem::exists(folder / name, error);
                       });
}

std::optional<RecognizerModel> sherpaModel(const ModelDescription &model, const QString &folder,
                                           const QString &language) {
    const QString family = model.parameters.value(u"family"_s);
    const QStringList wanted = partsOf(family);
    const QStringList paths = filesBelow(folder);
    QStringList found;
    for (const QString &part : wanted) {
        const auto path = std::find_if(paths.begin(), paths.end(),
                                       [&part](const QString &one) { return isPart(one, part); });
        if (path != paths.end())
            found += *path;
    }
    const auto tokens = std::find_if(paths.begin(), paths.end(),
                                     [](const QString &one) { return one.endsWith(u"tokens.txt"_s); });
    if (wanted.isEmpty() || found.size() != wanted.size() || tokens == paths.end())
        return {};
    found += *tokens;

    RecognizerModel loaded{sherpaEngine.toStdString(), {}};
    for (const QString &path : found)
        loaded.files.push_back(QFile::encodeName(path).toStdString());
    loaded.parameters = {{"family", family.toStdString()},
                         {"decoding", model.parameters.value(u"decoding"_s).toStdString()}};
    if (model.parameters.value(u"decoding"_s) == u"offline"_s)
        loaded.longestDecoding = recognizer::longestDecoding;
    if (model.parameters.contains(u"language"_s))
        loaded.parameters.push_back({"language", language.toStdString()});
    return loaded;
}

std::optional<RecognizerModel> withDetector(RecognizerModel model, const QString &folder) {
    const QStringList paths = filesBelow(folder);
    const auto network = std::find_if(paths.begin(), paths.end(),
                                      [](const QString &path) { return isPart(path, wholeModel); });
    if (network == paths.end())
        return {};
    const std::string file = QFile::encodeName(*network).toStdString();
    model.files.push_back(file);
    model.parameters.push_back({"detector", file});
    return model;
}

} // namespace quillora::platform
