#include "models/ModelWords.h"

#include <QTest>

using namespace Qt::StringLiterals;
using namespace quillora;
using namespace std::chrono_literals;
using platform::ModelDescription;
using platform::ModelProgress;
using platform::ModelSizeClass;
using platform::ModelState;
using Step = ModelProgress::Step;

/// What a person reads of models, word for word.
class ModelWordsTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void aNumberOfBytesIsReadAtAGlance_data() {
        QTest::addColumn<qint64>("bytes");
        QTest::addColumn<QString>("words");
        const auto row = [](qint64 bytes, const char *words) {
            QTest::newRow(words) << bytes << QString::fromLatin1(words);
        };
        row(0, "0 kB");
        row(999, "1 kB");
        row(640'000, "640 kB");
        row(999'600, "1 MB");
        row(1'000'000, "1 MB");
        row(2'540'000, "2.5 MB");
        row(14'000'000, "14 MB");
        row(71'303'168, "71 MB");
        row(681'574'400, "682 MB");
        row(999'600'000, "1 GB");
        row(1'250'000'000, "1.3 GB");
        row(12'000'000'000, "12 GB");
    }
    void aNumberOfBytesIsReadAtAGlance() {
        QFETCH(qint64, bytes);
        QTEST(ModelWords::bytes(bytes), "words");
    }

    void aSizeThatIsKnownIsSaid() { QCOMPARE(ModelWords::size({14'000'000, true}), u"14 MB"_s); }

    void aSizeOnTheDiskIsAnEstimateOfTheDownload() {
        QCOMPARE(ModelWords::size({71'000'000, true, true}), u"about 71 MB"_s);
    }

    void aSizeThatIsPartlyKnownIsALowerBound() {
        QCOMPARE(ModelWords::size({14'000'000, false}), u"more than 14 MB"_s);
    }

    void aSizeThatIsNotKnownIsCalledThat() { QCOMPARE(ModelWords::size({0, false}), u"size not stated"_s); }

    void theQualityOfATranslationIsSaidInWords_data() {
        QTest::addColumn<double>("score");
        QTest::addColumn<QString>("words");
        QTest::newRow("high") << 88.5 << u"Excellent"_s;
        QTest::newRow("upper middle") << 86.0 << u"Very good"_s;
        QTest::newRow("middle") << 84.8 << u"Good"_s;
        QTest::newRow("low") << 83.9 << u"Fair"_s;
    }
    void theQualityOfATranslationIsSaidInWords() {
        QFETCH(double, score);
        QTEST(ModelWords::quality(scored(score)), "words");
    }

    void aQualityThatNobodyPublishedIsNotGuessed() {
        QCOMPARE(ModelWords::quality({}), u"Quality not stated"_s);
    }

    void aScoreOutOfOneIsTheSameScore() {
        ModelDescription model;
        model.score = {0.848, u"COMET"_s, u"the publisher"_s};
        QCOMPARE(ModelWords::quality(model), u"Good"_s);
    }

    void howManyWordsAreMisheardIsSaidInWords() {
        ModelDescription model;
        model.score = {8.1, u"LibriSpeech word error rate"_s, u"k2-fsa"_s};
        QCOMPARE(ModelWords::quality(model), u"Mishears 8.1 words in 100"_s);
        model.score->value = 12.34;
        QCOMPARE(ModelWords::quality(model), u"Mishears 12 words in 100"_s);
    }

    void aScoreOfAnotherKindIsSaidAsItIs() {
        ModelDescription model;
        model.score = {31.5, u"BLEU"_s, u"k2-fsa"_s};
        QCOMPARE(ModelWords::quality(model), u"BLEU 31.5"_s);
    }

    void whetherAModelWritesPunctuationIsSaid() {
        ModelDescription model;
        model.punctuates = true;
        QCOMPARE(ModelWords::quality(model), u"Quality not stated, writes punctuation"_s);
        model.punctuates = false;
        QCOMPARE(ModelWords::quality(model), u"Quality not stated, no punctuation"_s);
    }

    void whatTheWordsStandOnIsSaid() {
        QCOMPARE(ModelWords::measured(scored(84.8)), u"FLORES COMET x 100: 84.8, says the publisher."_s);
        QCOMPARE(ModelWords::measured({}), QString());
    }

    void theMemoryThatAModelNeedsIsToldWhereItIsStated() {
        ModelDescription model;
        model.memory = 500'000'000;
        QCOMPARE(ModelWords::measured(model), u"Needs about 500 MB of memory."_s);
        model.score = scored(84.8).score;
        QCOMPARE(ModelWords::measured(model),
                 u"FLORES COMET x 100: 84.8, says the publisher. Needs about 500 MB of memory."_s);
    }

    void whatAModelAsksOfAComputerIsSaid() {
        ModelDescription model;
        QCOMPARE(ModelWords::weight(model), QString());
        model.sizeClass = ModelSizeClass::light;
        QCOMPARE(ModelWords::weight(model), u"Light"_s);
        model.sizeClass = ModelSizeClass::medium;
        QCOMPARE(ModelWords::weight(model), u"Medium"_s);
        model.sizeClass = ModelSizeClass::large;
        QCOMPARE(ModelWords::weight(model), u"Large"_s);
    }

    void publisherAndLicenceAreSaidOrCalledNotStated() {
        ModelDescription model;
        QCOMPARE(ModelWords::origin(model), u"Publisher not stated. Licence not stated."_s);
        model.publisher = u"k2-fsa"_s;
        model.licence = u"CC-BY-4.0"_s;
        QCOMPARE(ModelWords::origin(model), u"From k2-fsa. Licence: CC-BY-4.0."_s);
        QCOMPARE(ModelWords::publisher(model), u"From k2-fsa."_s);
    }

    void aChecksumThatIsNotKnownIsCalledNotStated() {
        ModelDescription model;
        model.publisher = u"k2-fsa"_s;
        model.licence = u"MIT"_s;
        model.checksums = platform::ModelChecksums::some;
        QCOMPARE(ModelWords::origin(model), u"From k2-fsa. Licence: MIT. Checksums stated in part."_s);
        model.checksums = platform::ModelChecksums::none;
        QCOMPARE(ModelWords::origin(model), u"From k2-fsa. Licence: MIT. Checksum not stated."_s);
    }

    // What there is of a model.

    void aStateIsSaid_data() {
        QTest::addColumn<ModelState>("state");
        QTest::addColumn<QString>("words");
        const auto row = [](const char *name, const ModelState &state, const QString &words) {
            QTest::newRow(name) << state << words;
        };
        row("absent", {}, u"Not installed"_s);
        row("installed", installed(u"2"_s), u"Installed"_s);
        row("old", installed(u"1"_s), u"Installed: version 1. There is a newer one."_s);
        row("newer", installed(u"10"_s), u"Installed"_s);
        ModelState shared = installed(u"2"_s);
        shared.isOwn = false;
        row("shared", shared, u"Installed for everybody on this computer"_s);
        shared.isPaused = true;
        row("shared, with a paused update", shared,
            u"Installed for everybody on this computer, update paused"_s);
        ModelState damaged = installed(u"2"_s);
        damaged.presence = ModelState::Presence::damaged;
        row("damaged", damaged, u"Damaged"_s);
        damaged.problem = u"The file model.bin is gone."_s;
        row("damaged in some way", damaged, u"The file model.bin is gone."_s);
        ModelState unfit = installed(u"2"_s);
        unfit.presence = ModelState::Presence::unfit;
        row("unfit", unfit, u"Does not work on this computer"_s);
        ModelState leaving = installed(u"2"_s);
        leaving.isLeaving = true;
        row("leaving", leaving, u"Is removed as soon as nobody uses it"_s);
        ModelState paused;
        paused.isPaused = true;
        row("paused", paused, u"Paused"_s);
        ModelState pausedUpdate = installed(u"1"_s);
        pausedUpdate.isPaused = true;
        row("paused on the way to a newer one", pausedUpdate, u"Installed, update paused"_s);
        ModelState failed;
        failed.problem = u"There is no room."_s;
        row("failed", failed, u"There is no room."_s);
        ModelState repaired = failed;
        repaired.progress.emplace(); // what is damaged has a problem until it is not
        row("repaired", repaired, u"Waiting for its turn"_s);
        leaving.problem = u"A file is gone."_s;
        row("damaged, leaving", leaving, u"Is removed as soon as nobody uses it"_s);
    }
    void aStateIsSaid() {
        QFETCH(ModelState, state);
        QTEST(ModelWords::state(state, u"2"_s), "words");
    }

    void aStepIsSaid_data() {
        QTest::addColumn<ModelProgress>("progress");
        QTest::addColumn<QString>("words");
        const auto row = [](const char *name, const ModelProgress &progress, const QString &words) {
            QTest::newRow(name) << progress << words;
        };
        row("waiting", at(Step::waiting), u"Waiting for its turn"_s);
        row("preparing", at(Step::preparing), u"Preparing"_s);
        row("checking", at(Step::checking), u"Checking"_s);
        row("unpacking", at(Step::unpacking), u"Unpacking"_s);
        ModelProgress downloading = at(Step::downloading);
        downloading.receivedBytes = 6'000'000;
        ModelProgress halted = downloading;
        halted.obstacle = u"Could not connect to publisher.example: connection refused."_s;
        row("without a network", halted,
            u"Could not connect to publisher.example: connection refused. It is tried again."_s);
        row("of unknown size", downloading, u"Downloading: 6 MB"_s);
        downloading.totalBytes = 14'000'000;
        row("of known size", downloading, u"Downloading: 6 MB of 14 MB"_s);
        downloading.timeLeft = 10s;
        row("seconds", downloading, u"Downloading: 6 MB of 14 MB, about 10 seconds left"_s);
        downloading.timeLeft = 0s;
        row("a second", downloading, u"Downloading: 6 MB of 14 MB, about 1 second left"_s);
        downloading.timeLeft = 90s;
        row("minutes", downloading, u"Downloading: 6 MB of 14 MB, about 2 minutes left"_s);
        downloading.timeLeft = 2h;
        row("hours", downloading, u"Downloading: 6 MB of 14 MB, about 2 hours left"_s);
    }
    void aStepIsSaid() {
        QFETCH(ModelProgress, progress);
        ModelState state;
        state.progress = progress;
        QTEST(ModelWords::state(state, u"1"_s), "words");
    }

    void whatIsLeftOutIsNamedAndCounted() {
        QCOMPARE(ModelWords::omissions({}), QString());
        QCOMPARE(ModelWords::omissions({u"One is left out."_s}), u"One is left out."_s);
        QCOMPARE(ModelWords::omissions({u"One is left out."_s, u"Two %1 is."_s}),
                 u"2 entries of the catalogs are left out. One is left out. Two %1 is."_s);
    }

    void theRoomIsSaid() {
        QCOMPARE(ModelWords::space(90'000'000, 12'000'000'000), u"Your models take 90 MB. 12 GB are free."_s);
        QCOMPARE(ModelWords::space(0, 12'000'000'000), u"You have no models of your own. 12 GB are free."_s);
        QCOMPARE(ModelWords::space(90'000'000, {}), u"Your models take 90 MB."_s);
    }

private:
    static ModelDescription scored(double value) {
        ModelDescription model;
        model.score = {value, u"FLORES COMET x 100"_s, u"the publisher"_s};
        return model;
    }
    static ModelProgress at(Step step) {
        ModelProgress progress;
        progress.step = step;
        return progress;
    }
    static ModelState installed(const QString &version) {
        ModelState state;
        state.presence = ModelState::Presence::installed;
        state.version = version;
        state.isOwn = true;
        return state;
    }
};

QTEST_GUILESS_MAIN(ModelWordsTest)
#include "ModelWordsTest.moc"
