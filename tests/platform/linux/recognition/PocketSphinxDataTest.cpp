#include "platform/linux/recognition/PocketSphinxData.h"
#include "platform/linux/recognition/ModelFolder.h"

#include <QTest>

using namespace Qt::StringLiterals;
using namespace quillora;
using platform::ModelCheck;
using platform::ModelJudgement;
using platform::PocketSphinxData;
using test::ModelFolder;

namespace {

ModelJudgement judgementOf(const ModelFolder &folder, ModelCheck check = ModelCheck::checksums) {
    return PocketSphinxData::findAll({folder.path()}).at(0).judgement(check);
}

} // namespace

/// Data that is missing or damaged is noticed, whatever it looks like.
class PocketSphinxDataTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void theInstalledDataIsFoundAndRight() {
        const auto found = PocketSphinxData::findAll(PocketSphinxData::standardFolders());
        QCOMPARE(found.size(), 1U);
        QCOMPARE(found[0].judgement(ModelCheck::checksums), ModelJudgement::right);
    }

    void foldersWithAllPartsAreFoundInTheirOrder() {
        const QTemporaryDir empty;
        const ModelFolder first, second;
        const auto found = PocketSphinxData::findAll({empty.path(), first.path(), second.path()});
        QCOMPARE(found.size(), 2U);
        QVERIFY(found[0].acousticModel.startsWith(first.path()));
        QVERIFY(found[1].acousticModel.startsWith(second.path()));
    }

    void aMissingPartMeansNoData_data() { files({u"absent"_s}); }
    void aMissingPartMeansNoData() {
        QFETCH(QString, name);
        const ModelFolder folder;
        folder.remove(name);
        QVERIFY(PocketSphinxData::findAll({folder.path()}).empty());
    }

    void dataThatIsCutShortIsNotRight_data() { files({u"0 %"_s, u"40 %"_s, u"99 %"_s}); }
    void dataThatIsCutShortIsNotRight() {
        QFETCH(QString, name);
        QFETCH(int, percent);
        const ModelFolder folder;
        folder.truncate(name, ModelFolder::sizeOf(name) * percent / 100);
        // What is empty does not tell what it should be.
        const bool isUnknown = percent == 0 && !name.contains(u'/');
        QCOMPARE(judgementOf(folder, ModelCheck::sizes),
                 isUnknown ? ModelJudgement::unknown : ModelJudgement::wrong);
    }

    void aByteThatIsAnotherIsNotRight_data() { files({u"absent"_s}); }
    void aByteThatIsAnotherIsNotRight() {
        QFETCH(QString, name);
        const ModelFolder folder;
        folder.change(name, [](QByteArray &bytes) { bytes.back() = char(~bytes.back()); });
        QCOMPARE(judgementOf(folder), ModelJudgement::wrong);
    }

    void wordsMayBeAppendedToTheDictionary() {
        const ModelFolder folder;
        folder.change(u"cmudict-en-us.dict"_s,
                      [](QByteArray &bytes) { bytes += "zyzzyva Z IH Z IH V AH\n"; });
        QCOMPARE(judgementOf(folder), ModelJudgement::right);
    }

    void anotherVersionIsNotKnown() {
        const ModelFolder folder;
        folder.change(u"cmudict-en-us.dict"_s, [](QByteArray &bytes) { bytes = "yes Y EH S\nno N OW\n"; });
        QCOMPARE(judgementOf(folder), ModelJudgement::unknown);
        folder.change(u"en-us.lm.bin"_s, [](QByteArray &bytes) { bytes = "another"; });
        QCOMPARE(judgementOf(folder), ModelJudgement::unknown);
    }

    void repairedDataIsRightAgainAndAnother() {
        const ModelFolder folder;
        folder.truncate(u"en-us/mdef"_s, 1000);
        const auto data = PocketSphinxData::findAll({folder.path()}).at(0);
        const auto broken = data.fingerprint();
        QCOMPARE(data.fingerprint(), broken);
        folder.repair(u"en-us/mdef"_s);
        QVERIFY(data.fingerprint() != broken);
        QCOMPARE(data.judgement(ModelCheck::checksums), ModelJudgement::right);
    }

    void ofFilesThatHaveChangedSinceTheyWereLoadedNothingIsKnown() {
        const ModelFolder folder;
        const auto model = PocketSphinxData::findAll({folder.path()}).at(0).model();
        const auto judgement = [&] { return model.judge(ModelCheck::checksums, [] { return false; }); };
        QCOMPARE(judgement(), ModelJudgement::right);
        folder.truncate(u"en-us/sendump"_s, 10);
        QCOMPARE(judgement(), ModelJudgement::unknown);
    }

private:
    static void files(const QStringList &shares) {
        QTest::addColumn<QString>("name");
        QTest::addColumn<int>("percent");
        for (const auto &name : {u"en-us/mdef"_s, u"en-us/means"_s, u"en-us/variances"_s, u"en-us/sendump"_s,
                                 u"en-us/transition_matrices"_s, u"en-us/feat.params"_s, u"en-us/noisedict"_s,
                                 u"en-us.lm.bin"_s, u"cmudict-en-us.dict"_s}) {
            for (const auto &share : shares)
                QTest::addRow("%s, %s", qPrintable(name), qPrintable(share))
                    << name << share.section(u' ', 0, 0).toInt();
        }
    }
};

QTEST_GUILESS_MAIN(PocketSphinxDataTest)
#include "PocketSphinxDataTest.moc"
