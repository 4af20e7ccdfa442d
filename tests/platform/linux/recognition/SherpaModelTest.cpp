#include "platform/linux/recognition/SherpaModel.h"
#include "platform/linux/models/ModelCatalog.h"
#include "platform/linux/recognition/SpokenLocales.h"
#include "support/Files.h"

#include <QDir>
#include <QTemporaryDir>
#include <QTest>

using namespace quillora;
using platform::sherpaModel;

/// What is taken of the files that publishers put into a model.
class SherpaModelTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void thePartsAreFoundUnderTheirPublishersNames_data() {
        QTest::addColumn<QString>("family");
        QTest::addColumn<QStringList>("present");
        QTest::addColumn<QStringList>("taken");
        QTest::newRow("a transducer")
            << u"nemo-transducer"_qs
            << QStringList{u"decoder.int8.onnx"_qs, u"encoder.int8.onnx"_qs, u"joiner.int8.onnx"_qs,
                           u"test_wavs/0.wav"_qs, u"tokens.txt"_qs}
            << QStringList{u"encoder.int8.onnx"_qs, u"decoder.int8.onnx"_qs, u"joiner.int8.onnx"_qs,
                           u"tokens.txt"_qs};
        QTest::newRow("whole and quantised ones, in a folder")
            << u"zipformer-transducer"_qs
            << QStringList{u"a/bpe.model"_qs,
                           u"a/decoder-epoch-75.onnx"_qs,
                           u"a/encoder-epoch-75.int8.onnx"_qs,
                           u"a/encoder-epoch-75.onnx"_qs,
                           u"a/joiner-epoch-75.int8.onnx"_qs,
                           u"a/joiner-epoch-75.onnx"_qs,
                           u"a/tokens.txt"_qs}
            << QStringList{u"a/encoder-epoch-75.int8.onnx"_qs, u"a/decoder-epoch-75.onnx"_qs,
                           u"a/joiner-epoch-75.int8.onnx"_qs, u"a/tokens.txt"_qs};
        QTest::newRow("one network") << u"sense-voice"_qs
                                     << QStringList{u"README.md"_qs, u"model.int8.onnx"_qs, u"model.onnx"_qs,
                                                    u"tokens.txt"_qs}
                                     << QStringList{u"model.int8.onnx"_qs, u"tokens.txt"_qs};
        QTest::newRow("names that begin with the model's")
            << u"whisper"_qs
            << QStringList{u"tiny.en-decoder.onnx"_qs, u"tiny.en-encoder.onnx"_qs, u"tiny.en-tokens.txt"_qs}
            << QStringList{u"tiny.en-encoder.onnx"_qs, u"tiny.en-decoder.onnx"_qs, u"tiny.en-tokens.txt"_qs};
    }
    void thePartsAreFoundUnderTheirPublishersNames() {
        QFETCH(QString, family);
        QFETCH(QStringList, present);
        QFETCH(QStringList, taken);
        place(present);
        const auto model = sherpaModel(described(family), m_folder->path(), u"de"_qs);
        QVERIFY(model);
        QStringList files;
        for (const auto &file : model->files)
            files += QDir(m_folder->path()).relativeFilePath(QString::fromStdString(file));
        QCOMPARE(files, taken);
        QCOMPARE(model->engine, std::string("sherpa"));
    }

    void aModelWithoutOneOfItsPartsIsNone() {
        place({u"decoder.onnx"_qs, u"encoder.onnx"_qs, u"tokens.txt"_qs});
        QVERIFY(!sherpaModel(described(u"nemo-transducer"_qs), m_folder->path(), u"de"_qs));
        place({u"model.onnx"_qs});
        QVERIFY(!sherpaModel(described(u"nemo-ctc"_qs), m_folder->path(), u"de"_qs));
        QVERIFY(!sherpaModel(described(u"nemo-ctc"_qs), u"/nonexistent"_qs, u"de"_qs));
    }

    void aModelOfAnUnknownKindIsNone() {
        place({u"model.onnx"_qs, u"tokens.txt"_qs});
        QVERIFY(!sherpaModel(described(u"another"_qs), m_folder->path(), u"de"_qs));
    }

    void everyModelOfTheCatalogIsOfAKnownKind() {
        place(
            {u"encoder.onnx"_qs, u"decoder.onnx"_qs, u"joiner.onnx"_qs, u"model.onnx"_qs, u"tokens.txt"_qs});
        for (const auto &model : speechModels()) {
            QVERIFY2(sherpaModel(model, m_folder->path(), u"de"_qs), qPrintable(model.id));
            const QString decoding = model.parameters.value(u"decoding"_qs);
            QVERIFY2(decoding == u"streaming"_qs || decoding == u"offline"_qs, qPrintable(model.id));
        }
    }

    void everyLocaleThatIsOfferedIsHeardByAModelOfTheCatalog() {
        const auto models = speechModels();
        for (const QString &locale : platform::spokenLocales()) {
            const bool isHeard = std::any_of(models.begin(), models.end(), [&locale](const auto &model) {
                return model.languages.contains(locale.section(u'-', 0, 0));
            });
            QVERIFY2(isHeard, qPrintable(locale));
        }
    }

    void onlyAModelThatTakesALanguageIsToldIt() {
        place({u"model.onnx"_qs, u"tokens.txt"_qs});
        auto model = described(u"sense-voice"_qs);
        using Parameters = std::vector<recognizer::Parameter>;
        QVERIFY((sherpaModel(model, m_folder->path(), u"zh"_qs)->parameters ==
                 Parameters{{"family", "sense-voice"}, {"decoding", "offline"}}));
        model.parameters[u"language"_qs] = u"selectable"_qs;
        QVERIFY((sherpaModel(model, m_folder->path(), u"zh"_qs)->parameters ==
                 Parameters{{"family", "sense-voice"}, {"decoding", "offline"}, {"language", "zh"}}));
    }

private:
    static QList<platform::ModelDescription> speechModels() {
        QList<platform::ModelDescription> models;
        const platform::ModelCatalog catalog(platform::ModelCatalog::standardFiles().first(1),
                                             {platform::sherpaEngine});
        for (const auto &entry : catalog.entries()) {
            if (entry.description.kind == platform::ModelKind::speech)
                models += entry.description;
        }
        return models;
    }

    void place(const QStringList &names) {
        m_folder = std::make_unique<QTemporaryDir>();
        for (const QString &name : names)
            test::writeFile(m_folder->filePath(name), {});
    }

    static platform::ModelDescription described(const QString &family) {
        platform::ModelDescription model;
        model.parameters = {{u"family"_qs, family}, {u"decoding"_qs, u"offline"_qs}};
        return model;
    }

    std::unique_ptr<QTemporaryDir> m_folder;
};

QTEST_APPLESS_MAIN(SherpaModelTest)
#include "SherpaModelTest.moc"
