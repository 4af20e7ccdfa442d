#include "platform/linux/translation/neural/GreedySearch.h"
#include "platform/linux/translation/neural/Vocabulary.h"
#include "support/neural/DictionaryModel.h"
#include "support/neural/RandomModel.h"

#include <QTest>

#include <sstream>

using namespace quillora::neural;
using namespace quillora::test;

Q_DECLARE_METATYPE(const RandomModel *)
Q_DECLARE_METATYPE(RandomModel::Numbers)

/// What int8 says, beside what floats say of the same weights: printed token by token up to where they part.
class ArithmeticTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void aModelWithAMeaningSaysTheSame();
    void aRandomModelMostlyBeginsTheSame_data();
    void aRandomModelMostlyBeginsTheSame();
};

namespace {

std::vector<Tokens> translated(const std::string &file, Arithmetic arithmetic,
                               std::span<const Tokens> sources) {
    std::istringstream in(file);
    const Network network(in, arithmetic);
    const auto twice = [](std::size_t count) { return 2 * count; };
    return GreedySearch(network, nullptr, fastestKernels(), {0, 1, twice}).translate(sources, {});
}

struct Agreement {
    std::size_t tokens = 0;
    std::size_t same = 0;        ///< before the first that differs
    std::size_t sameAtFirst = 0; ///< sentences that begin with the same token
};

Agreement agreementOf(const std::string &file, const Vocabulary &target, std::span<const Tokens> sources) {
    const std::vector<Tokens> floats = translated(file, Arithmetic::Floats, sources);
    const std::vector<Tokens> bytes = translated(file, Arithmetic::AsStored, sources);
    Agreement agreement;
    for (std::size_t i = 0; i < floats.size(); ++i) {
        const auto [inFloats, inBytes] = std::ranges::mismatch(floats[i], bytes[i]);
        const auto same = std::size_t(inFloats - floats[i].begin());
        const auto word = [&target](const Tokens &tokens, auto at) {
            return at == tokens.end() ? std::string("(end)") : target.decode(Tokens{*at});
        };
        qInfo("%2zu: %2zu of %2zu tokens%s", i, same, floats[i].size(),
              same == floats[i].size() && floats[i].size() == bytes[i].size()
                  ? ""
                  : (", then " + word(bytes[i], inBytes) + " for " + word(floats[i], inFloats)).c_str());
        agreement.tokens += floats[i].size();
        agreement.same += same;
        agreement.sameAtFirst += same > 0 || floats[i] == bytes[i];
    }
    return agreement;
}

std::vector<Tokens> sourcesOf(const Vocabulary &vocabulary, const std::vector<std::string> &sentences) {
    std::vector<Tokens> sources;
    for (const std::string &sentence : sentences) {
        sources.push_back(vocabulary.encode(sentence));
        sources.back().push_back(vocabulary.end());
    }
    return sources;
}

} // namespace

void ArithmeticTest::aModelWithAMeaningSaysTheSame() {
    const DictionaryModel model;
    std::istringstream in(model.vocabularyFile);
    const Vocabulary vocabulary(in);
    RandomNumbers random(1);
    const Dictionary words = germanToEnglish();
    std::vector<std::string> sentences(30);
    for (std::string &sentence : sentences)
        for (std::size_t count = 1 + random.below(15); count > 0; --count)
            sentence += words[random.below(words.size())].first + " ";
    const Agreement agreement = agreementOf(model.modelFile, vocabulary, sourcesOf(vocabulary, sentences));
    QCOMPARE(agreement.same, agreement.tokens);
    QVERIFY(agreement.tokens > 200);
}

void ArithmeticTest::aRandomModelMostlyBeginsTheSame_data() {
    static const std::vector<RandomModel> models = goldenModels();
    QTest::addColumn<const RandomModel *>("model");
    QTest::addColumn<RandomModel::Numbers>("numbers");
    QTest::addColumn<std::size_t>("atLeast"); // of 20 sentences
    for (const RandomModel &model : models) {
        const std::string name(model.name);
        QTest::newRow(name.c_str()) << &model << RandomModel::Numbers::Bytes
                                    << std::size_t(name == "base-memory" ? 9 : 11);
        QTest::newRow((name + ", its own multipliers").c_str())
            << &model << RandomModel::Numbers::BytesAndMultipliers << std::size_t(6);
    }
}

/// Random weights mean nothing, so that many words are almost equally likely, and after the first that
/// differs all others do. The first one has gone through all layers, and is one of at least a hundred.
/// Multipliers that are made for every input leave fewer steps to most of them than each row's own.
void ArithmeticTest::aRandomModelMostlyBeginsTheSame() {
    QFETCH(const RandomModel *, model);
    QFETCH(const RandomModel::Numbers, numbers);
    QFETCH(const std::size_t, atLeast);
    RandomModel inBytes = *model;
    inBytes.numbers = numbers;
    std::istringstream sourceFile(model->sourceVocabularyFile());
    std::istringstream targetFile(model->targetVocabularyFile());
    const Vocabulary source(sourceFile);
    const Vocabulary target(targetFile);
    RandomNumbers random(5);
    const std::vector<Tokens> sources = sourcesOf(source, inBytes.sentences(20, 1, 15, random));
    const Agreement agreement = agreementOf(inBytes.modelFile(), target, sources);
    qInfo("%s: %zu of %zu tokens before the first that differs, %zu of %zu sentences begin the same",
          QTest::currentDataTag(), agreement.same, agreement.tokens, agreement.sameAtFirst, sources.size());
    QVERIFY2(agreement.sameAtFirst >= atLeast, "too few sentences begin the same");
}

QTEST_GUILESS_MAIN(ArithmeticTest)
#include "ArithmeticTest.moc"
