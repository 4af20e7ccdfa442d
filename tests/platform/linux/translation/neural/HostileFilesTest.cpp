#include "platform/linux/translation/neural/GreedySearch.h"
#include "platform/linux/translation/neural/ModelError.h"
#include "platform/linux/translation/neural/Passages.h"
#include "platform/linux/translation/neural/Vocabulary.h"
#include "support/neural/ModelWriter.h"
#include "support/neural/RandomModel.h"

#include <QTest>

#include <cstring>
#include <functional>
#include <limits>
#include <sstream>

using namespace Qt::StringLiterals;
using namespace quillora::neural;
using namespace quillora::test;

/// What is damaged, or made to do damage, is refused with a sentence that says why.
class HostileFilesTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void aDamagedModelIsRefused_data();
    void aDamagedModelIsRefused();
    void aModelOfAnotherKindIsRefused_data();
    void aModelOfAnotherKindIsRefused();
    void aModelThatEndsEarlyIsRefused();
    void aModelWithFlippedBitsDoesNoDamage();
    void aDamagedVocabularyIsRefused_data();
    void aDamagedVocabularyIsRefused();
    void aVocabularyThatEndsEarlyIsRefused();
    void aVocabularyWithFlippedBitsDoesNoDamage();
    void noVocabularyMakesAPassageTooLong();
    void aSourceOfMoreTokensThanThereArePositionsIsRefused();
    void aDamagedShortlistIsRefused_data();
    void aDamagedShortlistIsRefused();
    void aShortlistWithFlippedBitsDoesNoDamage();
    void aDiskThatFailsIsNoFaultOfTheFile_data();
    void aDiskThatFailsIsNoFaultOfTheFile();
};

namespace {

using Change = std::function<void(std::string &)>;

RandomModel smallModel() {
    return {"small", {16, 32, 2, 1, 1, 40, 40, true}, RandomModel::Numbers::BytesAndMultipliers, 5, 0, 2, 8};
}

template <class Value>
void put(std::string &file, std::size_t offset, Value value) {
    std::memcpy(file.data() + offset, &value, sizeof value);
}

/// Where the table says something of an item.
enum class Entry : std::size_t { NameLength = 0, Type = 8, Rank = 16, Length = 24 };

std::size_t itemCount(const std::string &file) {
    std::uint64_t count = 0;
    std::memcpy(&count, file.data() + 8, sizeof count);
    return count;
}

Change entry(std::size_t item, Entry what, std::uint64_t value) {
    return [=](std::string &file) { put(file, 16 + 32 * item + std::size_t(what), value); };
}

Change at(std::size_t offset, std::uint64_t value) {
    return [=](std::string &file) { put(file, offset, value); };
}

Change cutAt(std::size_t size) {
    return [=](std::string &file) { file.resize(size); };
}

/// Replaces what is of the same length.
Change replaced(std::string_view from, std::string_view to) {
    return [=](std::string &file) { file.replace(file.find(from), from.size(), to); };
}

std::size_t beginOfShapes(const std::string &file) { return file.find("special:model.yml") + 18; }

Change side(std::int32_t value) {
    return [=](std::string &file) { put(file, beginOfShapes(file), value); };
}

/// The first item is "Wemb": its bytes come first.
std::size_t beginOfData(const std::string &file) {
    const std::size_t gapAt =
        beginOfShapes(file) + 8 * (itemCount(file) - 1) + 4; // the last one has one side
    std::uint64_t gap = 0;
    std::memcpy(&gap, file.data() + gapAt, sizeof gap);
    return gapAt + 8 + gap;
}

Change multiplierOfEmbedding(float value) {
    return [=](std::string &file) { put(file, beginOfData(file) + 40 * 16, value); };
}

template <class Load>
std::string refusal(Load load) {
    try {
        load();
    } catch (const ModelError &error) {
        return error.what();
    }
    return "it was not refused";
}

using TryFile = void (*)(std::istream &);

/// Loads a model and translates a little with it.
void readModel(std::istream &in) {
    const Network network(in);
    const GreedySearch search(network, nullptr, fastestKernels(),
                              {0, 1, [](std::size_t) -> std::size_t { return 3; }});
    const Token last = Token(network.configuration().sourceVocabulary) - 1;
    search.translate(std::vector<Tokens>{{last, 0}}, {});
}

void readVocabulary(std::istream &in) {
    const Vocabulary vocabulary(in);
    const std::string text = "ba baba \xFF \xF0\x9F\x98\x80 x";
    vocabulary.decode(vocabulary.encode(text));
    const Passages passages(text, {"de", "en"}, vocabulary);
}

void readShortlist(std::istream &in) {
    const Shortlist shortlist(in, 40, 40, Shortlist::Vocabularies::Shared);
    shortlist.candidates(Tokens{2, 3, 39, 0});
}

template <TryFile tryFile>
void tryText(const std::string &file) {
    std::istringstream in(file);
    tryFile(in);
}

constexpr auto tryModel = tryText<readModel>;
constexpr auto tryVocabulary = tryText<readVocabulary>;
constexpr auto tryShortlist = tryText<readShortlist>;

/// A file on a disk that gives no more than its first bytes.
class FailingDisk : public std::stringbuf {
public:
    FailingDisk(const std::string &file, std::size_t good) : std::stringbuf(file), m_good(good) {}

protected:
    // As the file streams of the library say it: whoever reads is told that the medium is bad.
    std::streamsize xsgetn(char *to, std::streamsize count) override {
        if (std::size_t(gptr() - eback()) + std::size_t(count) > m_good)
            throw std::ios_base::failure("Input/output error");
        return std::stringbuf::xsgetn(to, count);
    }

private:
    std::size_t m_good;
};

/// Whatever happens to it, it is either of use or refused.
void flipBits(const std::string &file, std::size_t times, void (*tryFile)(const std::string &)) {
    RandomNumbers random(9);
    std::size_t refused = 0;
    for (std::size_t i = 0; i < times; ++i) {
        std::string changed = file;
        for (std::size_t flips = 1 + random.below(3); flips > 0; --flips) {
            // The beginning, where sizes stand, is hit more often.
            const std::size_t range =
                random.below(2) == 0 ? std::min<std::size_t>(changed.size(), 2048) : changed.size();
            changed[random.below(range)] ^= char(1 << random.below(8));
        }
        refused += refusal([&] { tryFile(changed); }) != "it was not refused";
    }
    QVERIFY(refused > 0);
    qInfo("%zu of %zu refused", refused, times);
}

/// A character map with one rule, "a" to "b": two blocks of 256 units.
std::string characterMap(const std::function<void(std::vector<std::uint32_t> &)> &change = {},
                         std::string_view texts = {"b\0", 2}) {
    std::vector<std::uint32_t> units(512, 0);
    units[0] = 256U << 10;                            // its children lie 256 further
    units[256 ^ 'a'] = 'a' | (1U << 8) | ('a' << 10); // below "a" a value, at 256
    units[256] = 1U << 31;                            // which is text 0
    if (change)
        change(units);
    std::string map;
    const auto size = std::uint32_t(units.size() * sizeof units[0]);
    map.append(reinterpret_cast<const char *>(&size), sizeof size);
    map.append(reinterpret_cast<const char *>(units.data()), size);
    return map + std::string(texts);
}

/// With two rules: "a" becomes so many "b" as a text may have, but " a" only one.
std::string characterMapThatCountsSpace() {
    const auto below = [](std::vector<std::uint32_t> &units, std::size_t parent, char letter,
                          std::size_t children, std::uint32_t hasValue) {
        const std::size_t unit = parent ^ std::size_t(letter);
        units[unit] = std::uint32_t(letter) | (hasValue << 8) | (std::uint32_t(unit ^ children) << 10);
    };
    const auto addRules = [&below](std::vector<std::uint32_t> &units) {
        units.resize(1280, 0);
        below(units, 256, 'a', 1024, 1);
        units[1024] = 1U << 31;
        below(units, 256, ' ', 512, 0);
        below(units, 512, 'a', 768, 1);
        units[768] = (1U << 31) | 63; // the last "b" of the text
    };
    return characterMap(addRules, std::string(64, 'b') + '\0');
}

std::vector<VocabularyPiece> fewPieces() {
    return {{"</s>", 0, 3}, {"<unk>", 0, 2}, {"\u2581"}, {"a"}, {"b"}};
}

QByteArray bytes(const std::string &text) { return QByteArray(text.data(), qsizetype(text.size())); }
std::string text(const QByteArray &bytes) { return {bytes.constData(), std::size_t(bytes.size())}; }

} // namespace

Q_DECLARE_METATYPE(Change)
Q_DECLARE_METATYPE(TryFile)

void HostileFilesTest::aDamagedModelIsRefused_data() {
    QTest::addColumn<Change>("change");
    QTest::addColumn<QString>("sentence");
    const auto row = [](const char *name, const Change &change, const char *sentence) {
        QTest::newRow(name) << change << QString::fromUtf8(sentence);
    };
    const std::uint64_t huge = std::numeric_limits<std::uint64_t>::max();
    const std::string file = smallModel().modelFile();
    const std::size_t count = itemCount(file);

    row("empty", cutAt(0), "The model is damaged: it ends within its header.");
    row("ends in its header", cutAt(12), "The model is damaged: it ends within its header.");
    row("another version", at(0, 2), "The model is not one, or of an unknown version (2).");
    row("no items", at(8, 0), "The model is damaged: it claims to hold 0 items.");
    row("too many items", at(8, huge), "The model is damaged: it claims to hold 18446744073709551615 items.");
    row("ends in its table", cutAt(100), "The model is damaged: it ends within its table.");
    row("more items than there are", at(8, count + 1),
        "The model is damaged: a name in its table is "
        "7882802381944874327 bytes long.");
    row("name without length", entry(0, Entry::NameLength, 0),
        "The model is damaged: a name in its table is 0 bytes long.");
    row("name too long", entry(0, Entry::NameLength, huge),
        "The model is damaged: a name in its table is 18446744073709551615 bytes long.");
    row("name without end", replaced(std::string_view("Wemb\0", 5), "Wembx"),
        "The model is damaged: a name in its table does not end where it should.");
    row("ends in its names", cutAt(16 + 32 * count + 10), "The model is damaged: it ends within the names.");
    row("a name twice", replaced("encoder_l1_self_Wk\0", "encoder_l1_self_Wq\0"),
        "The model is damaged: \"encoder_l1_self_Wq\" is in it twice.");
    row("no dimensions", entry(1, Entry::Rank, 0),
        "The model is damaged: an item in its table has 0 dimensions.");
    row("too many dimensions", entry(1, Entry::Rank, 1ULL << 62),
        "The model is damaged: an item in its table has 4611686018427387904 dimensions.");
    row("unknown type", entry(0, Entry::Type, 0x0402),
        "The model holds \"Wemb\" in a number format that is not supported (1026).");
    row(
        "ends in its shapes", [](std::string &model) { model.resize(beginOfShapes(model) + 2); },
        "The model is damaged: it ends within the shapes.");
    row("negative side", side(-40), "The model is damaged: the shape of \"Wemb\" has a side of -40.");
    row("side of nothing", side(0), "The model is damaged: the shape of \"Wemb\" has a side of 0.");
    row("side too large", side(0x7FFFFFFF),
        "The model is damaged: the shape of \"Wemb\" is larger than the file.");
    row(
        "gap too large",
        [](std::string &model) { put(model, beginOfShapes(model) + 8 * (itemCount(model) - 1) + 4, ~0ULL); },
        "The model is damaged: its items begin behind its end.");
    row("item too long", entry(0, Entry::Length, huge), "The model is damaged: it ends within \"Wemb\".");
    row("item shorter than its shape", entry(0, Entry::Length, 64),
        "The model is damaged: \"Wemb\" is shorter than its shape.");
    row("not a number", multiplierOfEmbedding(std::numeric_limits<float>::quiet_NaN()),
        "The model is damaged: the multiplier of \"Wemb\" is no usable number.");
    row("infinite", multiplierOfEmbedding(std::numeric_limits<float>::infinity()),
        "The model is damaged: the multiplier of \"Wemb\" is no usable number.");
    row("multiplier of nothing", multiplierOfEmbedding(0),
        "The model is damaged: the multiplier of \"Wemb\" is no usable number.");
    row("bytes where floats should be", entry(count - 2, Entry::Type, ModelWriter::byteType),
        "The model's \"decoder_ff_logit_out_b\" holds another type of number than it should.");
    row("text where numbers should be", entry(0, Entry::Type, ModelWriter::textType),
        "The model's \"Wemb\" is text, not numbers.");
    row("another shape", side(39), "The model's \"Wemb\" is 39 by 16, not 40 by 16.");
    row("a layer is missing", replaced("encoder_l1_self_Wk\0", "encoder_l9_self_Wk\0"),
        "The model lacks \"encoder_l1_self_Wk\".");
    row("a layer too many", replaced("enc-depth: 1", "enc-depth: 0"),
        "The model has \"enc-depth: 0\", which is not supported.");
    row("does not say what it is", replaced("special:model.yml", "special:model.xml"),
        "The model does not say of what kind it is: it lacks \"special:model.yml\".");
}

void HostileFilesTest::aDamagedModelIsRefused() {
    QFETCH(const Change, change);
    QFETCH(const QString, sentence);
    std::string file = smallModel().modelFile();
    tryModel(file);
    change(file);
    QCOMPARE(QString::fromStdString(refusal([&] { tryModel(file); })), sentence);
}

void HostileFilesTest::aModelOfAnotherKindIsRefused_data() {
    QTest::addColumn<QString>("from");
    QTest::addColumn<QString>("to");
    QTest::addColumn<QString>("sentence");
    const auto row = [](const char *from, const char *to, const char *sentence) {
        QTest::newRow(to) << QString::fromUtf8(from) << QString::fromUtf8(to) << QString::fromUtf8(sentence);
    };
    const auto unsupported = [&row](const char *from, const char *to) {
        const std::string sentence = std::string("The model has \"") + to + "\", which is not supported.";
        row(from, to, sentence.c_str());
    };
    unsupported("type: transformer\n", "type: s2s");
    unsupported("transformer-decoder-autoreg: rnn", "transformer-decoder-autoreg: self-attention");
    unsupported("transformer-decoder-autoreg: rnn", "transformer-decoder-autoreg: average-attention");
    unsupported("dec-cell: ssru", "dec-cell: gru");
    unsupported("transformer-ffn-depth: 2", "transformer-ffn-depth: 3");
    unsupported("transformer-ffn-activation: relu", "transformer-ffn-activation: swish");
    unsupported("transformer-preprocess: \"\"", "transformer-preprocess: n");
    unsupported("transformer-postprocess: dan", "transformer-postprocess: da");
    unsupported("transformer-postprocess-emb: d", "transformer-postprocess-emb: n");
    unsupported("transformer-postprocess-top: \"\"", "transformer-postprocess-top: n");
    unsupported("transformer-no-projection: false", "transformer-no-projection: true");
    unsupported("transformer-pool: false", "transformer-pool: true");
    unsupported("transformer-train-position-embeddings: false",
                "transformer-train-position-embeddings: true");
    row("transformer-tied-layers:\n  []", "transformer-tied-layers:\n  - 1\n  - 1",
        "The model has \"transformer-tied-layers: 1, 1\", which is not supported.");
    row("input-types:\n  []", "input-types:\n  - sequence",
        "The model has \"input-types: sequence\", which is not supported.");
    unsupported("tied-embeddings-src: false", "tied-embeddings-src: true");
    unsupported("tied-embeddings-all: true", "tied-embeddings-all: maybe");
    row("tied-embeddings-all: true", "tied-embeddings-all: false",
        "The model has \"tied-embeddings: false\", which is not supported.");
    unsupported("right-left: false", "right-left: true");
    unsupported("skip: false", "skip: true");
    unsupported("layer-normalization: false", "layer-normalization: true");
    unsupported("lemma-dim-emb: 0", "lemma-dim-emb: 64");
    unsupported("ulr: false", "ulr: true");
    unsupported("dim-emb: 16", "dim-emb: 0");
    unsupported("dim-emb: 16", "dim-emb: 18446744073709551616");
    unsupported("dim-emb: 16", "dim-emb: 24");
    unsupported("dim-emb: 16", "dim-emb: -16");
    unsupported("dim-emb: 16", "dim-emb: 16.0");
    unsupported("transformer-dim-ffn: 32", "transformer-dim-ffn: 33");
    unsupported("transformer-heads: 2", "transformer-heads: 3");
    unsupported("transformer-heads: 2", "transformer-heads: 0");
    unsupported("enc-depth: 1", "enc-depth: 1000");
    unsupported("dec-depth: 1", "dec-depth: 0");
    row("  - 40\n  - 40\n", "  - 40\n", "The model has \"dim-vocabs: 40\", which is not supported.");
    row("  - 40\n  - 40\n", "  - 40\n  - 41\n",
        "The model has \"dim-vocabs: 40, 41\", which is not supported.");
    row("ulr-dim-emb: 0", "something-new: 1",
        "The model's configuration has \"something-new\", which is not known.");
    row("dec-cell: ssru", "dec-depth: 1", "The model's configuration has \"dec-depth\" twice.");
    row("dec-cell: ssru\n", "", "The model's configuration lacks \"dec-cell\".");
    row("dec-cell: ssru", "ssru", "The model's configuration has a line that is none: \"ssru\".");
    row("dec-cell: ssru", "- ssru", "The model's configuration begins with a list that belongs to nothing.");
}

void HostileFilesTest::aModelOfAnotherKindIsRefused() {
    QFETCH(const QString, from);
    QFETCH(const QString, to);
    QFETCH(const QString, sentence);
    std::string configuration = "\n" + configurationText(smallModel().shape);
    const std::string key = "\n" + from.toStdString();
    const std::size_t place =
        from.startsWith(u' ') ? configuration.find(from.toStdString()) : configuration.find(key) + 1;
    QVERIFY(place != std::string::npos && place > 0);
    const bool hasLineEnd = from.endsWith(u'\n') && !to.isEmpty() && !to.endsWith(u'\n');
    configuration.replace(place, from.toStdString().size(), to.toStdString() + (hasLineEnd ? "\n" : ""));
    QCOMPARE(QString::fromStdString(refusal([&] { ModelConfiguration::parse(configuration); })), sentence);
}

void HostileFilesTest::aModelThatEndsEarlyIsRefused() {
    const std::string file = smallModel().modelFile();
    for (std::size_t size = 0; size < file.size() - 256; size += 61)
        QVERIFY(refusal([&] { tryModel(file.substr(0, size)); }) != "it was not refused");
}

void HostileFilesTest::aModelWithFlippedBitsDoesNoDamage() {
    flipBits(smallModel().modelFile(), 4000, tryModel);
}

void HostileFilesTest::aDamagedVocabularyIsRefused_data() {
    QTest::addColumn<QByteArray>("file");
    QTest::addColumn<QString>("sentence");
    const auto row = [](const char *name, const std::string &file, const char *sentence) {
        QTest::newRow(name) << bytes(file) << QString::fromUtf8(sentence);
    };
    const auto withPieces = [](std::vector<VocabularyPiece> more) {
        std::vector<VocabularyPiece> pieces = fewPieces();
        pieces.insert(pieces.end(), more.begin(), more.end());
        return vocabularyFile(pieces);
    };
    const auto withMap = [](const std::string &map) { return vocabularyFile(fewPieces(), map); };
    const auto withUnit = [&](std::size_t index, std::uint32_t unit) {
        return withMap(characterMap([=](std::vector<std::uint32_t> &units) { units[index] = unit; }));
    };

    // The library takes the lowest 32 bits of what tells a field.
    const auto behindAWideTag = [](std::uint64_t field, const std::string &content) {
        return vocabularyFile(fewPieces()) + protocolField((1ULL << 29) + field, content);
    };

    row("sound", withMap(characterMap()), "it was not refused");
    row("empty", "", "The vocabulary is damaged: there is no piece in it.");
    row("field without end", "\x0A\x7F", "The vocabulary is damaged: it ends too early.");
    row("field that ends a byte early", "\x0A\x03\x0A\x02x", "The vocabulary is damaged: it ends too early.");
    row("length that overflows", "\x0A\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\x01",
        "The vocabulary is damaged: it ends too early.");
    row("number without end", std::string(11, '\xFF'),
        "The vocabulary is damaged: it holds a number without end.");
    row("unknown kind of field", "\x0B\x01",
        "The vocabulary is damaged: it holds something of an unknown kind.");
    row("piece behind a wide tag", behindAWideTag(1, protocolField(1, "a")),
        "The vocabulary is damaged: it holds something of an unknown kind.");
    row("normalizer behind a wide tag", behindAWideTag(3, protocolField(2, "abc")),
        "The vocabulary is damaged: it holds something of an unknown kind.");
    row("denormalizer behind a wide tag", behindAWideTag(5, protocolField(2, "abc")),
        "The vocabulary is damaged: it holds something of an unknown kind.");
    row("map behind a wide tag",
        vocabularyFile(fewPieces()) + protocolField(3, protocolField((1ULL << 29) + 2, "abc")),
        "The vocabulary is damaged: it holds something of an unknown kind.");
    row("text of a piece behind a wide tag",
        vocabularyFile(fewPieces()) +
            protocolField(1, protocolField(1, "c") + protocolField((1ULL << 29) + 1, "a")),
        "The vocabulary is damaged: it holds something of an unknown kind.");
    row("piece that is a number", "\x08\x01",
        "The vocabulary is damaged: something in it is of another kind than it should.");
    row("empty piece", withPieces({{""}}), "The vocabulary is damaged: a piece is empty or much too long.");
    row("endless piece", withPieces({{std::string(2000, 'x')}}),
        "The vocabulary is damaged: a piece is empty or much too long.");
    row("piece with a NUL", withPieces({{std::string("x\0y", 3)}}),
        "The vocabulary is damaged: a piece is empty or much too long.");
    row("piece twice", withPieces({{"a"}}), "The vocabulary is damaged: the piece \"a\" is in it twice.");
    row("score that is no number", withPieces({{"c", std::numeric_limits<float>::quiet_NaN()}}),
        "The vocabulary is damaged: the score of a piece is no number.");
    row("endless score", withPieces({{"c", -std::numeric_limits<float>::infinity()}}),
        "The vocabulary is damaged: the score of a piece is no number.");
    row("map that ends early", withMap("abc"),
        "The vocabulary is damaged: its character map ends too early.");
    row("map of another size", withMap(characterMap().substr(0, 1000)),
        "The vocabulary is damaged: its character map has the wrong size.");
    row("map without texts", withMap(characterMap({}, "")),
        "The vocabulary is damaged: its character map has the wrong size.");
    row("text without end", withMap(characterMap({}, "b")),
        "The vocabulary is damaged: its character map has the wrong size.");
    row("children beyond the end", withUnit(0, 0x3FFFFFU << 10 >> 1),
        "The vocabulary is damaged: its character map points beyond its end.");
    row("far children beyond the end", withUnit(0, (1U << 9) | (4096U << 10)),
        "The vocabulary is damaged: its character map points beyond its end.");
    row("children of a value beyond the end", withUnit(0, (1U << 31) | (256U << 10)),
        "The vocabulary is damaged: its character map points beyond its end.");
    row("text beyond the end", withUnit(256, (1U << 31) | 1000),
        "The vocabulary is damaged: its character map points beyond its end.");
    row("text of the longest kind", withMap(characterMap({}, std::string(64, 'b') + '\0')),
        "it was not refused");
    row("text that is too long", withMap(characterMap({}, std::string(65, 'b') + '\0')),
        "The vocabulary is damaged: its character map makes too much of a character.");
    row("text longer than a passage", withMap(characterMap({}, std::string(200, 'b') + '\0')),
        "The vocabulary is damaged: its character map makes too much of a character.");
}

void HostileFilesTest::aDamagedVocabularyIsRefused() {
    QFETCH(const QByteArray, file);
    QFETCH(const QString, sentence);
    QCOMPARE(QString::fromStdString(refusal([&] { tryVocabulary(text(file)); })), sentence);
}

void HostileFilesTest::aVocabularyThatEndsEarlyIsRefused() {
    const std::string file = vocabularyFile(fewPieces(), characterMap());
    for (std::size_t size = 0; size < file.size(); ++size) {
        // Where a field ends it may be of use.
        const std::string answer = refusal([&] { tryVocabulary(file.substr(0, size)); });
        QVERIFY(answer.starts_with("The vocabulary ") || answer == "it was not refused");
    }
}

void HostileFilesTest::aVocabularyWithFlippedBitsDoesNoDamage() {
    flipBits(vocabularyFile(fewPieces(), characterMap()), 4000, tryVocabulary);
}

/// Behind an "x", which it does not know, white space stays outside of the passage: its tokens are others
/// than those of both together.
void HostileFilesTest::noVocabularyMakesAPassageTooLong() {
    std::istringstream in(vocabularyFile(fewPieces(), characterMapThatCountsSpace()));
    const Vocabulary vocabulary(in);
    QVERIFY(vocabulary.encode(" aa").size() < Passages::longest);
    QVERIFY(vocabulary.encode("aa").size() > Passages::longest);
    for (const std::string text : {"x aa", "x aaa", "b x  aa x aa"}) {
        const Passages passages(text, {"de", "en"}, vocabulary);
        for (const Tokens &source : passages.sources())
            QVERIFY2(source.size() <= Passages::longest, text.c_str());
        QVERIFY(passages.joined(std::vector<std::string>(passages.sources().size())).size() >= text.size());
    }
}

void HostileFilesTest::aSourceOfMoreTokensThanThereArePositionsIsRefused() {
    std::istringstream in(smallModel().modelFile());
    const Network network(in);
    const GreedySearch search(network, nullptr, fastestKernels(),
                              {0, 1, [](std::size_t) -> std::size_t { return 1; }});
    search.translate(std::vector<Tokens>{Tokens(Network::longest, 2)}, {});
    QVERIFY_THROWS_EXCEPTION(std::length_error,
                             search.translate(std::vector<Tokens>{Tokens(Network::longest + 1, 2)}, {}));
}

void HostileFilesTest::aDamagedShortlistIsRefused_data() {
    QTest::addColumn<Change>("change");
    QTest::addColumn<QString>("sentence");
    const auto row = [](const char *name, const Change &change, const char *sentence) {
        QTest::newRow(name) << change << QString::fromUtf8(sentence);
    };
    row("empty", cutAt(0), "The shortlist is damaged: it ends within its header.");
    row("another format", at(0, 1), "The shortlist is not one, or of an unknown format.");
    row("more at the front than there are", at(16, 1000),
        "The shortlist is damaged: it wants more tokens than the vocabulary has.");
    row("another vocabulary", at(32, 40),
        "The shortlist does not belong to the model: it is for another vocabulary.");
    row("lists that overflow", at(40, ~0ULL), "The shortlist is damaged: it ends within its lists.");
    row("ends in its lists", cutAt(48 + 8 * 41 + 3), "The shortlist is damaged: it ends within its lists.");
    row("list behind the end", at(48 + 8 * 20, 1 << 20), "The shortlist is damaged: its lists overlap.");
    row("lists backwards", at(48 + 8 * 20, 0), "The shortlist is damaged: its lists overlap.");
    row(
        "unknown token", [](std::string &file) { put(file, 48 + 8 * 41, std::uint32_t(40)); },
        "The shortlist is damaged: it names a token that the vocabulary does not have.");
}

void HostileFilesTest::aDamagedShortlistIsRefused() {
    QFETCH(const Change, change);
    QFETCH(const QString, sentence);
    std::string file = smallModel().shortlistFile();
    tryShortlist(file);
    change(file);
    QCOMPARE(QString::fromStdString(refusal([&] { tryShortlist(file); })), sentence);
}

void HostileFilesTest::aShortlistWithFlippedBitsDoesNoDamage() {
    flipBits(smallModel().shortlistFile(), 4000, tryShortlist);
}

void HostileFilesTest::aDiskThatFailsIsNoFaultOfTheFile_data() {
    QTest::addColumn<QByteArray>("file");
    QTest::addColumn<TryFile>("tryFile");
    QTest::addColumn<QString>("sentence");
    const auto row = [](const char *what, const std::string &file, TryFile tryFile) {
        QTest::newRow(what) << bytes(file) << tryFile
                            << u"The %1 cannot be read to its end."_s.arg(QString::fromUtf8(what));
    };
    row("model", smallModel().modelFile(), readModel);
    row("vocabulary", vocabularyFile(fewPieces(), characterMap()), readVocabulary);
    row("shortlist", smallModel().shortlistFile(), readShortlist);
}

void HostileFilesTest::aDiskThatFailsIsNoFaultOfTheFile() {
    QFETCH(const QByteArray, file);
    QFETCH(const TryFile, tryFile);
    QFETCH(const QString, sentence);
    for (qsizetype good = 0; good < file.size(); good += 1 + file.size() / 100) {
        FailingDisk disk(text(file), std::size_t(good));
        std::istream in(&disk);
        try {
            tryFile(in);
            QFAIL("it was read");
        } catch (const ModelError &error) {
            QFAIL(error.what());
        } catch (const std::runtime_error &error) {
            QCOMPARE(QString::fromUtf8(error.what()), sentence);
        }
    }
}

QTEST_GUILESS_MAIN(HostileFilesTest)
#include "HostileFilesTest.moc"
