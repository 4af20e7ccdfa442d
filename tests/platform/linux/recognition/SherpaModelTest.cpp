#include "platform/linux/recognition/SherpaModel.h"
#include "platform/linux/models/ModelCatalog.h"
#include "platform/linux/recognition/SpokenLocales.h"
#include "recognizer/protocol/SherpaFiles.h"
#include "support/Files.h"
#include "translation/LanguageCatalog.h"

#include <QDir>
#include <QSet>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;
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
            << u"nemo-transducer"_s
            << QStringList{u"decoder.int8.onnx"_s, u"encoder.int8.onnx"_s, u"joiner.int8.onnx"_s,
                           u"test_wavs/0.wav"_s, u"tokens.txt"_s}
            << QStringList{u"encoder.int8.onnx"_s, u"decoder.int8.onnx"_s, u"joiner.int8.onnx"_s,
                           u"tokens.txt"_s};
        QTest::newRow("whole and quantised ones, in a folder")
            << u"zipformer-transducer"_s
            << QStringList{u"a/bpe.model"_s,
                           u"a/decoder-epoch-75.onnx"_s,
                           u"a/encoder-epoch-75.int8.onnx"_s,
                           u"a/encoder-epoch-75.onnx"_s,
                           u"a/joiner-epoch-75.int8.onnx"_s,
                           u"a/joiner-epoch-75.onnx"_s,
                           u"a/tokens.txt"_s}
            << QStringList{u"a/encoder-epoch-75.int8.onnx"_s, u"a/decoder-epoch-75.onnx"_s,
                           u"a/joiner-epoch-75.int8.onnx"_s, u"a/tokens.txt"_s};
        QTest::newRow("one network") << u"sense-voice"_s
                                     << QStringList{u"README.md"_s, u"model.int8.onnx"_s, u"model.onnx"_s,
                                                    u"tokens.txt"_s}
                                     << QStringList{u"model.int8.onnx"_s, u"tokens.txt"_s};
        QTest::newRow("names that begin with the model's")
            << u"whisper"_s
            << QStringList{u"tiny.en-decoder.onnx"_s, u"tiny.en-encoder.onnx"_s, u"tiny.en-tokens.txt"_s}
            << QStringList{u"tiny.en-encoder.onnx"_s, u"tiny.en-decoder.onnx"_s, u"tiny.en-tokens.txt"_s};
    }
    void thePartsAreFoundUnderTheirPublishersNames() {
        QFETCH(QString, family);
        QFETCH(QStringList, present);
        QFETCH(QStringList, taken);
        place(present);
        const auto model = sherpaModel(described(family), m_folder->path(), u"de"_s);
        QVERIFY(model);
        QStringList files;
        for (const auto &file : model->files)
            files += QDir(m_folder->path()).relativeFilePath(QString::fromStdString(file));
        QCOMPARE(files, taken);
        QCOMPARE(model->engine, std::string("sherpa"));
    }

    void aModelWithoutOneOfItsPartsIsNone() {
        place({u"decoder.onnx"_s, u"encoder.onnx"_s, u"tokens.txt"_s});
        QVERIFY(!sherpaModel(described(u"nemo-transducer"_s), m_folder->path(), u"de"_s));
        place({u"model.onnx"_s});
        QVERIFY(!sherpaModel(described(u"nemo-ctc"_s), m_folder->path(), u"de"_s));
        QVERIFY(!sherpaModel(described(u"nemo-ctc"_s), u"/nonexistent"_s, u"de"_s));
    }

    void aModelOfAnUnknownKindIsNone() {
        place({u"model.onnx"_s, u"tokens.txt"_s});
        QVERIFY(!sherpaModel(described(u"another"_s), m_folder->path(), u"de"_s));
    }

    void everyModelOfTheCatalogIsOfAKnownKind() {
        place({u"encoder.onnx"_s, u"decoder.onnx"_s, u"joiner.onnx"_s, u"model.onnx"_s, u"tokens.txt"_s});
        for (const auto &model : speechModels()) {
            QVERIFY2(sherpaModel(model, m_folder->path(), u"de"_s), qPrintable(model.id));
            const QString decoding = model.parameters.value(u"decoding"_s);
            QVERIFY2(decoding == u"streaming"_s || decoding == u"offline"_s, qPrintable(model.id));
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

    void everyLanguageThatIsTranslatedIsSpokenAndNoOther() {
        QSet<QString> spoken, translated;
        for (const QString &locale : platform::spokenLocales())
            spoken += locale.section(u'-', 0, 0);
        for (const auto &target : LanguageCatalog::targets())
            translated += target.id;
        QCOMPARE(spoken, translated);
    }

    void theLibraryIsThereWhereBothOfItsFilesAre() {
        const QTemporaryDir folder;
        const std::string program = folder.filePath(u"quillora-recognizer"_s).toStdString();
        QVERIFY(!platform::hasSherpaLibrary("/nonexistent/quillora-recognizer"));
        QVERIFY(!platform::hasSherpaLibrary(program));
        for (const auto &[first, second] : {std::pair(0, 1), std::pair(1, 0)}) {
            const auto path = [&](int index) {
                return folder.filePath(
                    QString::fromLatin1(recognizer::sherpaLibraryFiles.at(std::size_t(index))));
            };
            test::writeFile(path(first), {});
            QVERIFY(!platform::hasSherpaLibrary(program));
            test::writeFile(path(second), {});
            QVERIFY(platform::hasSherpaLibrary(program));
            QVERIFY(QFile::remove(path(first)) && QFile::remove(path(second)));
        }
    }

    void onlyAModelThatTakesALanguageIsToldIt() {
        place({u"model.onnx"_s, u"tokens.txt"_s});
        auto model = described(u"sense-voice"_s);
        using Parameters = std::vector<recognizer::Parameter>;
        QVERIFY((sherpaModel(model, m_folder->path(), u"zh"_s)->parameters ==
                 Parameters{{"family", "sense-voice"}, {"decoding", "offline"}}));
        model.parameters[u"language"_s] = u"selectable"_s;
        QVERIFY((sherpaModel(model, m_folder->path(), u"zh"_s)->parameters ==
                 Parameters{{"family", "sense-voice"}, {"decoding", "offline"}, {"language", "zh"}}));
    }

    void onlyAModelThatIsNotForStreamsDecodesLongerThanTheSoundLasts() {
        place({u"model.onnx"_s, u"tokens.txt"_s});
        auto model = described(u"sense-voice"_s);
        QCOMPARE(sherpaModel(model, m_folder->path(), u"zh"_s)->longestDecoding, recognizer::longestDecoding);
        model.parameters[u"decoding"_s] = u"streaming"_s;
        QCOMPARE(sherpaModel(model, m_folder->path(), u"zh"_s)->longestDecoding,
                 std::chrono::milliseconds(0));
    }

    void aDetectorIsOneFileMore() {
        place({u"silero_vad.onnx"_s});
        const std::string file = m_folder->filePath(u"silero_vad.onnx"_s).toStdString();
        const auto model = platform::withDetector({"sherpa", {"model.onnx", "tokens.txt"}}, m_folder->path());
        QVERIFY(model);
        QVERIFY((model->files == std::vector<std::string>{"model.onnx", "tokens.txt", file}));
        QVERIFY((model->parameters == std::vector<recognizer::Parameter>{{"detector", file}}));
        place({u"README.md"_s});
        QVERIFY(!platform::withDetector({"sherpa", {}}, m_folder->path()));
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
        model.parameters = {{u"family"_s, family}, {u"decoding"_s, u"offline"_s}};
        return model;
    }

    std::unique_ptr<QTemporaryDir> m_folder;
};

QTEST_APPLESS_MAIN(SherpaModelTest)
#include "SherpaModelTest.moc"
