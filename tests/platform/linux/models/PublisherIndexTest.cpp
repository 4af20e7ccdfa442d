#include "platform/linux/models/PublisherIndex.h"

#include "platform/linux/models/ModelFault.h"

#include <QTest>

using namespace Qt::StringLiterals;
using namespace quillora;
using namespace platform;

namespace {

const QByteArray hash(64, 'b');

ModelIndex checksums(const QString &name) {
    return {.form = ModelIndex::Form::checksums,
            .address = QUrl(u"https://h/checksum.txt"_s),
            .files = QUrl(u"https://h/files/"_s),
            .name = name,
            .architecture = {}};
}

ModelIndex translations(const QString &architecture = u"tiny"_s) {
    return {.form = ModelIndex::Form::translations,
            .address = QUrl(u"https://h/db/models.json"_s),
            .files = QUrl(u"https://h/"_s),
            .name = u"en-ru"_s,
            .architecture = architecture};
}

QByteArray model(const QByteArray &architecture, const QByteArray &status, const QByteArray &path) {
    return "{\"architecture\": \"" + architecture + "\", \"releaseStatus\": \"" + status +
           "\", \"files\": {\"model\": {\"path\": \"" + path + "\", \"uncompressedHash\": \"" + hash +
           "\"}, \"lexicalShortlist\": {\"path\": \"m/lex.bin.gz\"}, \"vocab\": \"m/vocab.spm.gz\"}}";
}

QString faultOf(const ModelIndex &index, const QByteArray &contents) {
    try {
        filesOf(index, contents);
    } catch (const ModelFault &fault) {
        return fault.errorDescription();
    }
    return {};
}

} // namespace

class PublisherIndexTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void aListOfChecksumsNamesTheArchive() {
        const QByteArray list =
            "other.tar.bz2\t" + QByteArray(64, 'a') + "\nm.tar.bz2\t" + hash.toUpper() + "\r\n";
        QCOMPARE(filesOf(checksums(u"m.tar.bz2"_s), list),
                 (QList<ModelFile>{{.name = u"m.tar.bz2"_s,
                                    .address = QUrl(u"https://h/files/m.tar.bz2"_s),
                                    .packing = ModelPacking::archive,
                                    .sha256 = hash}}));
    }

    void aSingleFileInAListIsNotAnArchive() {
        QCOMPARE(filesOf(checksums(u"vad.onnx"_s), "vad.onnx\t" + hash).first().packing, ModelPacking::none);
    }

    void aListThatLiesIsRefused_data() {
        QTest::addColumn<QByteArray>("list");
        QTest::addColumn<QString>("fault");
        const QString malformed = u"The index at h is not of the form that is expected."_s;
        const QString missing = u"The index at h does not name \"m.zip\"."_s;
        QTest::newRow("empty") << QByteArray() << missing;
        QTest::newRow("another file") << "m.zip.old\t" + hash << missing;
        QTest::newRow("short") << "m.zip\t" + hash.left(63) << malformed;
        QTest::newRow("no hash") << QByteArray("m.zip\tdeadbeef") << malformed;
        QTest::newRow("two of one name") << "m.zip\t" + hash + "\nm.zip\t" + QByteArray(64, 'c') << malformed;
        QTest::newRow("a page") << QByteArray("<html>not found</html>") << missing;
    }
    void aListThatLiesIsRefused() {
        QFETCH(const QByteArray, list);
        QTEST(faultOf(checksums(u"m.zip"_s), list), "fault");
    }

    void thePairsFilesAreNamedByTheirLastPart() {
        const QByteArray index =
            "{\"models\": {\"en-ru\": [" + model("tiny", "Release", "m/model.en-ru.bin.gz") + "]}}";
        const auto files = filesOf(translations(), index);
        QCOMPARE(files.size(), 3);
        QCOMPARE(files[0], (ModelFile{.name = u"model.en-ru.bin"_s,
                                      .address = QUrl(u"https://h/m/model.en-ru.bin.gz"_s),
                                      .packing = ModelPacking::gzip,
                                      .contentSha256 = hash}));
        QCOMPARE(files[1].name, u"lex.bin"_s);
        QCOMPARE(files[2], (ModelFile{.name = u"vocab.spm"_s,
                                      .address = QUrl(u"https://h/m/vocab.spm.gz"_s),
                                      .packing = ModelPacking::gzip}));
    }

    void everyFileIsHeldAgainstTheHashThatTheIndexStates() {
        const QByteArray stating = "\", \"uncompressedHash\": \"";
        QByteArray one = model("tiny", "Release", "m/model.bin.gz");
        one.replace("m/lex.bin.gz", "m/lex.bin.gz" + stating + QByteArray(64, 'c'));
        one.replace("\"m/vocab.spm.gz\"", "{\"path\": \"m/vocab.spm" + stating + QByteArray(64, 'd') + "\"}");
        const auto files = filesOf(translations(), "{\"en-ru\": [" + one + "]}");
        QCOMPARE(files.size(), 3);
        QCOMPARE(files[0].contentSha256, hash);
        QCOMPARE(files[1].contentSha256, QByteArray(64, 'c'));
        QCOMPARE(files[2].sha256, QByteArray(64, 'd')); // it is sent as it is
    }

    void aPairMayStandAtTheTopAndWithoutAHyphen() {
        const QByteArray index = "{\"enru\": " + model("tiny", "Release", "m/model.bin.gz") + "}";
        QCOMPARE(filesOf(translations(), index).first().name, u"model.bin"_s);
    }

    void theReleasedModelOfTheArchitectureIsChosen() {
        const QByteArray index = "{\"en-ru\": [" + model("base", "Release", "m/base.bin.gz") + ',' +
                                 model("tiny", "Nightly", "m/nightly.bin.gz") + ',' +
                                 model("tiny", "Release", "m/released.bin.gz") + "]}";
        QCOMPARE(filesOf(translations(), index).first().name, u"released.bin"_s);
    }

    void anIndexThatLiesIsRefused_data() {
        QTest::addColumn<QByteArray>("contents");
        QTest::addColumn<QString>("fault");
        const QString malformed = u"The index at h is not of the form that is expected."_s;
        const QString missing = u"The index at h does not name \"en-ru\"."_s;
        const auto pair = [](const QByteArray &one) { return "{\"en-ru\": [" + one + "]}"; };
        QTest::newRow("a page") << QByteArray("<html>") << malformed;
        QTest::newRow("no such pair") << QByteArray("{\"en-de\": []}") << missing;
        QTest::newRow("no such architecture") << pair(model("base", "Release", "m/a.gz")) << missing;
        QTest::newRow("upwards") << pair(model("tiny", "Release", "../secret.gz")) << malformed;
        QTest::newRow("absolute") << pair(model("tiny", "Release", "/etc/a.gz")) << malformed;
        QTest::newRow("another host") << pair(model("tiny", "Release", "https://evil/a.gz")) << malformed;
        QTest::newRow("no path") << pair(model("tiny", "Release", "")) << malformed;
        QTest::newRow("an archive") << pair(model("tiny", "Release", "m/a.tar.gz")) << malformed;
        QTest::newRow("twins") << pair(model("tiny", "Release", "n/LEX.bin.gz")) << malformed;
        QTest::newRow("bad hash") << pair(model("tiny", "Release", "m/a.gz").replace(hash, "1234"))
                                  << malformed;
        QTest::newRow("model alone")
            << QByteArray(R"({"en-ru": {"architecture": "tiny", "files": {"model": "a.gz"}}})") << malformed;
    }
    void anIndexThatLiesIsRefused() {
        QFETCH(const QByteArray, contents);
        QTEST(faultOf(translations(), contents), "fault");
    }
};

QTEST_GUILESS_MAIN(PublisherIndexTest)
#include "PublisherIndexTest.moc"
