#include "platform/linux/models/ModelCatalog.h"

#include "platform/linux/models/JsonFields.h"
#include "platform/linux/models/ModelFault.h"
#include "platform/linux/models/SafePath.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QRegularExpression>
#include <QStandardPaths>

#include <algorithm>
#include <utility>

using namespace Qt::StringLiterals;

namespace quillora::platform {

namespace {

constexpr qint64 knownForm = 1;
constexpr qint64 largestCatalog = qint64{4} << 20;
constexpr qsizetype mostFiles = 1000;

template <typename Value, std::size_t count>
Value oneOf(const QString &name, const std::pair<const char16_t *, Value> (&choices)[count]) {
    for (const auto &[text, value] : choices) {
        if (name == QStringView(text))
            return value;
    }
    throw ModelFault(u"\"%1\" is not known here."_s.arg(name));
}

ModelKind kind(const QString &name) {
    return oneOf<ModelKind>(name, {{u"speech", ModelKind::speech},
                                   {u"translation", ModelKind::translation},
                                   {u"voice-activity", ModelKind::voiceActivity}});
}

ModelSizeClass sizeClass(const QString &name) {
    return oneOf<ModelSizeClass>(name, {{u"", ModelSizeClass::unknown},
                                        {u"light", ModelSizeClass::light},
                                        {u"medium", ModelSizeClass::medium},
                                        {u"large", ModelSizeClass::large}});
}

ModelPacking packing(const QString &name) {
    return oneOf<ModelPacking>(
        name,
        {{u"none", ModelPacking::none}, {u"gzip", ModelPacking::gzip}, {u"archive", ModelPacking::archive}});
}

ModelIndex::Form indexForm(const QString &name) {
    return oneOf<ModelIndex::Form>(name, {{u"checksums", ModelIndex::Form::checksums},
                                          {u"translations", ModelIndex::Form::translations}});
}

QString folderName(const QString &name) {
    if (!isFolderName(name))
        throw ModelFault(u"\"%1\" cannot name a folder."_s.arg(name));
    return name;
}

QStringList languages(JsonFields &fields, ModelKind kind) {
    static const QRegularExpression code(u"\\A[a-z]{2,3}(-[A-Za-z0-9]{2,8})*\\z"_s);
    const QStringList codes = fields.texts(u"languages"_s);
    for (const QString &one : codes) {
        if (!code.match(one).hasMatch())
            throw ModelFault(u"\"%1\" is not the code of a language."_s.arg(one));
    }
    if (kind == ModelKind::translation && codes.size() != 2)
        throw ModelFault(u"A translation has two languages, its source and its target."_s);
    if (kind == ModelKind::speech && codes.isEmpty())
        throw ModelFault(u"It does not say which languages it hears."_s);
    return codes;
}

QStringList weakerLanguages(JsonFields &fields, const QStringList &languages) {
    const QStringList codes = fields.texts(u"weakerLanguages"_s);
    for (const QString &one : codes) {
        if (!languages.contains(one))
            throw ModelFault(u"It is weaker in \"%1\", which is not one of its languages."_s.arg(one));
    }
    return codes;
}

QMap<QString, QString> parameters(const QJsonObject &object) {
    QMap<QString, QString> result;
    for (auto field = object.begin(); field != object.end(); ++field) {
        if (!field->isString())
            throw ModelFault(u"The parameter \"%1\" is not a text."_s.arg(field.key()));
        result[field.key()] = field->toString();
    }
    return result;
}

std::optional<ModelScore> score(JsonFields &entry) {
    if (!entry.has(u"score"_s))
        return {};
    JsonFields fields(entry.object(u"score"_s), u"The score"_s);
    ModelScore score{.value = fields.number(u"value"_s).value_or(0),
                     .measure = fields.text(u"measure"_s),
                     .source = fields.text(u"source"_s)};
    fields.expectNoMore();
    return score;
}

QUrl licenceAddress(JsonFields &fields, const QString &licence) {
    if (!fields.has(u"licenceAddress"_s))
        return {};
    if (licence.isEmpty())
        throw ModelFault(u"It says where its licence can be read, but not which it is."_s);
    return fields.address(u"licenceAddress"_s);
}

ModelDescription description(JsonFields &fields) {
    ModelDescription result;
    result.id = folderName(fields.text(u"id"_s));
    result.kind = kind(fields.text(u"kind"_s));
    result.version = folderName(fields.text(u"version"_s));
    result.languages = languages(fields, result.kind);
    result.weakerLanguages = weakerLanguages(fields, result.languages);
    result.engine = fields.text(u"engine"_s);
    result.parameters = parameters(fields.object(u"parameters"_s));
    result.downloadSize = fields.size(u"downloadSize"_s);
    result.installedSize = fields.size(u"installedSize"_s);
    result.licence = fields.textOr(u"licence"_s, {});
    result.licenceAddress = licenceAddress(fields, result.licence);
    result.publisher = fields.textOr(u"publisher"_s, {});
    result.sizeClass = sizeClass(fields.textOr(u"sizeClass"_s, {}));
    result.punctuates = fields.truth(u"punctuates"_s);
    result.score = score(fields);
    result.memory = fields.size(u"memory"_s);
    return result;
}

ModelFile file(const QJsonObject &object) {
    JsonFields fields(object, u"A file"_s);
    ModelFile result{.name = safePath(fields.text(u"name"_s)),
                     .address = fields.address(u"address"_s),
                     .packing = packing(fields.textOr(u"packing"_s, u"none"_s)),
                     .size = fields.size(u"size"_s),
                     .sha256 = fields.checksum(u"sha256"_s),
                     .contentSha256 = fields.checksum(u"contentSha256"_s)};
    fields.expectNoMore();
    if (result.name.isNull())
        throw ModelFault(u"A file has a name that leads out of the model's folder."_s);
    if (!result.contentSha256.isEmpty() && result.packing != ModelPacking::gzip)
        throw ModelFault(u"Only of a gzip file the contents have a checksum of their own."_s);
    return result;
}

QList<ModelFile> files(const QJsonArray &array) {
    if (array.size() > mostFiles)
        throw ModelFault(u"It has too many files."_s);
    QList<ModelFile> result;
    QStringList keys;
    for (const auto &value : array) {
        result += file(value.toObject());
        const QString key = twinKey(result.last().name);
        if (keys.contains(key))
            throw ModelFault(u"Two of its files are called \"%1\"."_s.arg(result.last().name));
        keys += key;
    }
    return result;
}

ModelIndex index(const QJsonObject &object) {
    JsonFields fields(object, u"The index"_s);
    ModelIndex result{.form = indexForm(fields.text(u"form"_s)),
                      .address = fields.address(u"address"_s),
                      .files = fields.address(u"files"_s),
                      .name = fields.text(u"name"_s),
                      .architecture = fields.textOr(u"architecture"_s, {})};
    fields.expectNoMore();
    if (result.form == ModelIndex::Form::translations && result.architecture.isEmpty())
        throw ModelFault(u"The index does not say which architecture."_s);
    if (!result.files.path().endsWith(u'/'))
        throw ModelFault(u"The address of the index's files does not end with \"/\"."_s);
    return result;
}

ModelChecksums checksums(const QList<ModelFile> &files) {
    const auto isKnown = [](const ModelFile &file) {
        return !file.sha256.isEmpty() || !file.contentSha256.isEmpty();
    };
    if (std::all_of(files.begin(), files.end(), isKnown))
        return ModelChecksums::all;
    return std::any_of(files.begin(), files.end(), isKnown) ? ModelChecksums::some : ModelChecksums::none;
}

/// As its form has it: lists of translations tell a model from others, and not each file beside it.
ModelChecksums checksums(const ModelIndex &index) {
    return index.form == ModelIndex::Form::checksums ? ModelChecksums::all : ModelChecksums::some;
}

CatalogEntry entry(const QJsonObject &object) {
    JsonFields fields(object, u"The entry"_s);
    CatalogEntry result;
    result.description = description(fields);
    result.files = files(fields.array(u"files"_s));
    if (fields.has(u"index"_s))
        result.index = index(fields.object(u"index"_s));
    fields.expectNoMore();
    if (result.files.isEmpty() == !result.index)
        throw ModelFault(u"It must have either files or an index."_s);
    result.description.checksums = result.index ? checksums(*result.index) : checksums(result.files);
    return result;
}

ModelMirror mirror(const QJsonObject &object, const QString &catalogPath) {
    JsonFields fields(object, u"The mirror"_s);
    ModelMirror result{.of = fields.address(u"of"_s),
                       .address = fields.address(u"address"_s),
                       .authority = fields.textOr(u"authority"_s, {})};
    fields.expectNoMore();
    for (const QUrl &url : {result.of, result.address}) {
        if (!url.path().endsWith(u'/') || url.hasQuery() || url.hasFragment())
            throw ModelFault(u"The address of a mirror, and what it mirrors, end with \"/\"."_s);
    }
    if (!result.authority.isEmpty())
        result.authority = QFileInfo(catalogPath).dir().filePath(result.authority);
    return result;
}

QJsonObject document(const QByteArray &contents) {
    if (contents.size() > largestCatalog)
        throw ModelFault(u"It is too large."_s);
    QJsonParseError error{};
    const auto json = QJsonDocument::fromJson(contents, &error);
    if (error.error != QJsonParseError::NoError)
        throw ModelFault(u"%1 at byte %2."_s.arg(error.errorString()).arg(error.offset));
    if (!json.isObject())
        throw ModelFault(u"It is not a JSON object."_s);
    return json.object();
}

/// What an entry calls itself, as far as that can be told.
QString nameOf(const QJsonValue &entry, qsizetype number) {
    const QString id = entry.toObject().value(u"id"_s).toString();
    return isFolderName(id) ? id : u"number %1"_s.arg(number);
}

CatalogFile read(const QString &path) {
    QFile file(path);
    // A file that is too large is read too far to pass for a smaller one.
    return {path, file.open(QIODevice::ReadOnly) ? file.read(largestCatalog + 1) : QByteArray()};
}

} // namespace

QList<CatalogFile> ModelCatalog::standardFiles() {
    QList<CatalogFile> files{platform::read(u":/models/catalog.json"_s)};
    QStringList others =
        QStandardPaths::locateAll(QStandardPaths::GenericConfigLocation, u"Quillora/models.json"_s);
    std::reverse(others.begin(), others.end());
    for (const QString &path : others)
        files += platform::read(path);
    return files;
}

ModelCatalog::ModelCatalog(const QList<CatalogFile> &files, const QStringList &engines) {
    for (const auto &file : files)
        read(file, engines);
}

void ModelCatalog::read(const CatalogFile &file, const QStringList &engines) {
    const auto leaveOut = [&](const QString &what, const LocalizedError &fault) {
        m_omissions += u"%1 in %2 is left out. %3"_s.arg(what, file.path, fault.errorDescription());
    };
    QJsonArray entries, mirrors;
    try {
        JsonFields fields(document(file.contents), u"The catalog"_s);
        if (fields.size(u"form"_s) != knownForm)
            throw ModelFault(u"The catalog is of a form that is not known here."_s);
        entries = fields.array(u"models"_s);
        mirrors = fields.array(u"mirrors"_s);
        fields.expectNoMore();
    } catch (const ModelFault &fault) {
        leaveOut(u"Everything"_s, fault);
        return;
    }
    for (qsizetype number = 0; number < entries.size(); ++number) {
        try {
            const auto one = entry(entries[number].toObject());
            if (!engines.contains(one.description.engine))
                throw ModelFault(u"There is no engine \"%1\" here."_s.arg(one.description.engine));
            add(one);
        } catch (const ModelFault &fault) {
            leaveOut(u"The model "_s + nameOf(entries[number], number + 1), fault);
        }
    }
    for (qsizetype number = 0; number < mirrors.size(); ++number) {
        try {
            add(mirror(mirrors[number].toObject(), file.path));
        } catch (const ModelFault &fault) {
            leaveOut(u"The mirror number %1"_s.arg(number + 1), fault);
        }
    }
}

void ModelCatalog::add(const CatalogEntry &entry) {
    const auto same = std::find_if(m_entries.begin(), m_entries.end(), [&](const CatalogEntry &other) {
        return other.description.id == entry.description.id;
    });
    if (same == m_entries.end())
        m_entries += entry;
    else
        *same = entry;
}

void ModelCatalog::add(const ModelMirror &mirror) {
    m_mirrors.removeIf([&](const ModelMirror &other) { return other.of == mirror.of; });
    m_mirrors += mirror;
}

const CatalogEntry *ModelCatalog::find(const QString &id) const {
    const auto found = std::find_if(m_entries.begin(), m_entries.end(),
                                    [&](const CatalogEntry &entry) { return entry.description.id == id; });
    return found == m_entries.end() ? nullptr : &*found;
}

} // namespace quillora::platform
