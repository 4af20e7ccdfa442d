#include "platform/linux/translation/neural/GreedySearch.h"
#include "platform/linux/translation/neural/Vocabulary.h"
#include "support/neural/RandomModel.h"

#include <QFile>
#include <QTest>

#include <optional>
#include <sstream>

using namespace Qt::StringLiterals;
using namespace quillora::neural;
using quillora::test::goldenModels;
using quillora::test::goldenSentences;
using quillora::test::RandomModel;

Q_DECLARE_METATYPE(const RandomModel *)

/// Models of random weights say word for word what the reference implementation says (golden/regenerate).
class GoldenTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void everyTranslationIsTheReferences_data();
    void everyTranslationIsTheReferences();
};

namespace {

/// Computes with a model from memory, sentence by sentence or all at once.
class Translating {
public:
    explicit Translating(const RandomModel &model)
        : m_source(m_sourceFile = std::istringstream(model.sourceVocabularyFile())),
          m_target(m_targetFile = std::istringstream(model.targetVocabularyFile())),
          m_network(m_modelFile = std::istringstream(model.modelFile())) {
        if (const std::string file = model.shortlistFile(); !file.empty()) {
            std::istringstream in(file);
            m_shortlist.emplace(in, m_source.size(), m_target.size(),
                                model.shape.sharedEmbeddings ? Shortlist::Vocabularies::Shared
                                                             : Shortlist::Vocabularies::Separate);
        }
    }

    Tokens tokens(const std::string &sentence) const {
        Tokens tokens = m_source.encode(sentence);
        tokens.push_back(m_source.end());
        return tokens;
    }

    std::vector<std::string> translate(const std::vector<std::string> &sentences,
                                       const Kernels &kernels) const {
        const GreedySearch search(
            m_network, m_shortlist ? &*m_shortlist : nullptr, kernels,
            {m_target.end(), m_target.unknown(), [](std::size_t count) { return 2 * count; }});
        std::vector<Tokens> sources;
        for (const std::string &sentence : sentences)
            sources.push_back(tokens(sentence));
        std::vector<std::string> translations;
        for (const Tokens &translation : search.translate(sources, {}))
            translations.push_back(m_target.decode(translation));
        return translations;
    }

private:
    std::istringstream m_sourceFile, m_targetFile, m_modelFile;
    Vocabulary m_source;
    Vocabulary m_target;
    Network m_network;
    std::optional<Shortlist> m_shortlist;
};

} // namespace

void GoldenTest::everyTranslationIsTheReferences_data() {
    static const std::vector<RandomModel> models = goldenModels();
    QTest::addColumn<const RandomModel *>("model");
    for (const RandomModel &model : models)
        QTest::newRow(std::string(model.name).c_str()) << &model;
}

void GoldenTest::everyTranslationIsTheReferences() {
    QFETCH(const RandomModel *, model);
    QFile file(QStringLiteral(QUILLORA_GOLDEN_ANSWERS) + u'/' +
               QString::fromStdString(std::string(model->name)) + u".tsv"_s);
    QVERIFY2(file.open(QIODevice::ReadOnly), qPrintable(file.fileName()));
    std::vector<std::string> sentences;
    std::vector<std::string> expected;
    while (!file.atEnd()) {
        const QByteArrayList columns = file.readLine().chopped(1).split('\t');
        sentences.push_back(columns.at(0).toStdString());
        expected.push_back(columns.at(1).toStdString());
    }
    QCOMPARE(sentences, goldenSentences(*model));

    // All at once, which is faster: that the others make no difference is another test's.
    const std::vector<std::string> translations = Translating(*model).translate(sentences, fastestKernels());
    for (std::size_t i = 0; i < expected.size(); ++i)
        QCOMPARE(QString::fromStdString(translations[i]), QString::fromStdString(expected[i]));
}

QTEST_GUILESS_MAIN(GoldenTest)
#include "GoldenTest.moc"
