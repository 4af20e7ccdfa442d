#include "platform/linux/recognition/PocketSphinxData.h"
#include "platform/LocalizedError.h"
#include "platform/linux/recognition/PocketSphinxDecoder.h"
#include "recognition/ModelFolder.h"

#include <QTest>

using namespace quillora;
using platform::PocketSphinxData;
using platform::PocketSphinxDecoder;
using test::ModelFolder;

/// Data that is missing or cut short is noticed, not believed, and never ends the program.
class PocketSphinxDataTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void theInstalledDataIsFoundAndWhole() {
        const auto data = PocketSphinxData::find(PocketSphinxData::standardFolders());
        QVERIFY(data);
        QVERIFY(data->isWhole());
    }

    void theFirstFolderWithAllPartsIsTaken() {
        const QTemporaryDir empty;
        const ModelFolder first, second;
        const auto data = PocketSphinxData::find({empty.path(), first.path(), second.path()});
        QCOMPARE(data, PocketSphinxData::find({first.path()}));
    }

    void aMissingPartMeansNoData_data() { files({u"absent"_qs}); }
    void aMissingPartMeansNoData() {
        QFETCH(QString, name);
        const ModelFolder folder;
        folder.remove(name);
        QVERIFY(!PocketSphinxData::find({folder.path()}));
    }

    void dataThatIsCutShortIsRefused_data() {
        files({u"0 %"_qs, u"1 %"_qs, u"40 %"_qs, u"70 %"_qs, u"99 %"_qs});
    }
    void dataThatIsCutShortIsRefused() {
        QFETCH(QString, name);
        QFETCH(int, percent);
        const ModelFolder folder;
        folder.truncate(name, ModelFolder::sizeOf(name) * percent / 100);
        const auto data = PocketSphinxData::find({folder.path()});
        QVERIFY(data);
        QVERIFY_THROWS_EXCEPTION(LocalizedError, PocketSphinxDecoder(*data, {}));
    }

    void aDictionaryCutAtTheEndOfALineIsRefused() {
        const ModelFolder folder;
        QFile dictionary(folder.path() + u"/cmudict-en-us.dict"_qs);
        QVERIFY(dictionary.open(QIODevice::ReadOnly));
        dictionary.seek(dictionary.size() / 2);
        dictionary.readLine();
        folder.truncate(u"cmudict-en-us.dict"_qs, dictionary.pos());
        QVERIFY(!PocketSphinxData::find({folder.path()})->isWhole());
    }

    void repairedDataIsWholeAgainAndAnother() {
        const ModelFolder folder;
        folder.truncate(u"en-us/mdef"_qs, 1000);
        const auto data = PocketSphinxData::find({folder.path()});
        const auto broken = data->fingerprint();
        QCOMPARE(data->fingerprint(), broken);
        folder.repair(u"en-us/mdef"_qs);
        QVERIFY(data->fingerprint() != broken);
        QVERIFY(data->isWhole());
    }

private:
    static void files(const QStringList &shares) {
        QTest::addColumn<QString>("name");
        QTest::addColumn<int>("percent");
        for (const auto &name : {u"en-us/mdef"_qs, u"en-us/means"_qs, u"en-us/variances"_qs,
                                 u"en-us/sendump"_qs, u"en-us/transition_matrices"_qs,
                                 u"en-us/feat.params"_qs, u"en-us.lm.bin"_qs, u"cmudict-en-us.dict"_qs}) {
            for (const auto &share : shares)
                QTest::addRow("%s, %s", qPrintable(name), qPrintable(share))
                    << name << share.section(u' ', 0, 0).toInt();
        }
    }
};

QTEST_GUILESS_MAIN(PocketSphinxDataTest)
#include "PocketSphinxDataTest.moc"
