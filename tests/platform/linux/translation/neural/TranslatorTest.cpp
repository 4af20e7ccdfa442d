#include "platform/linux/translation/neural/Translator.h"
#include "platform/linux/FreedMemory.h"
#include "platform/linux/translation/neural/ModelError.h"
#include "platform/linux/translation/neural/kernels/Kernels.h"
#include "support/ResidentMemory.h"
#include "support/Sanitizers.h"
#include "support/neural/DictionaryModel.h"
#include "support/neural/ModelWriter.h"
#include "support/neural/RandomModel.h"

#include <QElapsedTimer>
#include <QTemporaryDir>
#include <QTest>

#include <ctime>
#include <fstream>
#include <limits>
#include <semaphore>
#include <sstream>
#include <thread>

using namespace Qt::StringLiterals;
using namespace quillora;
using namespace quillora::neural;
using namespace quillora::test;

/// From text to text, with a model that really translates: German into English, word for word.
class TranslatorTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void wordsAreTranslated_data();
    void wordsAreTranslated();
    void everyInstructionSetSaysTheSame();
    void floatsSayTheSame();
    void withoutAShortlistItSaysTheSame();
    void severalThreadsSayTheSame();
    void threadsMayTranslateAtTheSameTime();
    void twoDirectionsLiveSideBySide();
    void twoOfThemTranslateByWayOfWhatIsBetween_data();
    void twoOfThemTranslateByWayOfWhatIsBetween();
    void byWayOfAnotherLanguageEverySentenceComesOnce();
    void theSecondHalfIsAtTheFirstSentenceWhileTheFirstIsAtTheNext();
    void aStopIsObeyedOnBothWays();
    void aStopIsObeyedAtOnce();
    void aStopBeforehandIsObeyed();
    void nothingIsComputedBehindTheProductThatAStopComesIn();
    void noProductIsLongerThanAStopMayWait();
    void outputIsBounded();
    void itsMemoryIsGivenBack();
    void aFileThatIsNotThereIsNamed();
    void filesThatDoNotBelongTogetherAreRefused();

private:
    Translator::Files files() const { return filesIn(m_folder.path()); }
    static Translator::Files filesIn(const QString &folder);

    QTemporaryDir m_folder;
};

namespace {

const Translator::Languages languages{"de", "en"};

/// From English into what is German but for one word.
Dictionary backAgain() {
    Dictionary back;
    for (const auto &[german, english] : germanToEnglish())
        back.emplace_back(english, german == "Übersetzung" ? "traduction" : german);
    return back;
}

/// A model as large as published ones, in a folder.
Translator::Files writeRandomModel(const RandomModel &model, const QString &folder) {
    const std::filesystem::path path(folder.toStdString());
    writeFile(path / "random.bin", model.modelFile());
    writeFile(path / "random.spm", model.sourceVocabularyFile());
    return {path / "random.bin", path / "random.spm", path / "random.spm", {}};
}

RandomModel mediumModel() {
    return {
        "medium", {192, 512, 8, 3, 2, 2000, 2000, true}, RandomModel::Numbers::BytesAndMultipliers, 7, -100};
}

std::string longText(const RandomModel &model, std::size_t sentences) {
    RandomNumbers random(3);
    std::string text;
    for (const std::string &sentence : model.sentences(sentences, 3, 22, random))
        text += sentence + ".\n";
    return text;
}

/// Of two translators the first, once it is past a sentence, and the second, at its beginning, wait for one
/// another.
struct Meeting {
    static inline std::atomic<int> steps = 0; ///< of the first
    static inline std::atomic<int> stepsToFirstSentence = 0;
    static inline std::atomic<bool> hasSecondBegun = false;
    static inline std::binary_semaphore firstIsHere{0};
    static inline std::binary_semaphore secondIsHere{0};
    static inline std::atomic<bool> firstMetSecond = false;
    static inline std::atomic<bool> secondMetFirst = false;

    static Kernels kernelsOfFirst() {
        Kernels kernels = fastestKernels();
        kernels.attend = [](const Attention &attention) {
            if (steps++ == stepsToFirstSentence) {
                firstIsHere.release();
                firstMetSecond = secondIsHere.try_acquire_for(patience);
            }
            fastestKernels().attend(attention);
        };
        return kernels;
    }

    static Kernels kernelsOfSecond() {
        Kernels kernels = fastestKernels();
        kernels.attend = [](const Attention &attention) {
            if (!hasSecondBegun.exchange(true)) {
                secondIsHere.release();
                secondMetFirst = firstIsHere.try_acquire_for(patience);
            }
            fastestKernels().attend(attention);
        };
        return kernels;
    }

private:
    static constexpr std::chrono::seconds patience{30};
};

/// Counts what is computed, and asks for a stop in the midst of one product.
struct Stopping {
    static inline std::stop_source stop;
    static inline std::size_t products = 0;
    static inline std::size_t mostRows = 0;
    static inline std::size_t stopAt = 0; ///< never, if 0
    static inline std::size_t stepsBehind = 0;

    /// Whoever computes with these is alone, and in one thread.
    static Kernels kernels(std::size_t stopAtProduct = 0) {
        stop = std::stop_source();
        products = mostRows = stepsBehind = 0;
        stopAt = stopAtProduct;
        Kernels kernels = fastestKernels();
        kernels.multiplyInt8 = [](const Int8Product &product) {
            stepsBehind += stop.stop_requested();
            mostRows = std::max(mostRows, product.rows);
            if (++products == stopAt)
                stop.request_stop();
            fastestKernels().multiplyInt8(product);
        };
        count<&Kernels::attend>(kernels, &Kernels::attend);
        count<&Kernels::addAndNormalize>(kernels, &Kernels::addAndNormalize);
        count<&Kernels::rectify>(kernels, &Kernels::rectify);
        count<&Kernels::remember>(kernels, &Kernels::remember);
        count<&Kernels::largest>(kernels, &Kernels::largest);
        count<&Kernels::quantize>(kernels, &Kernels::quantize);
        return kernels;
    }

private:
    template <auto Kernel, class Result, class... Arguments>
    static void count(Kernels &kernels, Result (*Kernels::*)(Arguments...)) {
        kernels.*Kernel = [](Arguments... arguments) {
            stepsBehind += stop.stop_requested();
            return (fastestKernels().*Kernel)(arguments...);
        };
    }
};

} // namespace

Translator::Files TranslatorTest::filesIn(const QString &folder) {
    const std::filesystem::path path(folder.toStdString());
    return {path / "model.bin", path / "vocabulary.spm", path / "vocabulary.spm", path / "shortlist.bin"};
}

void TranslatorTest::initTestCase() { writeDictionaryModel(m_folder.path().toStdString()); }

void TranslatorTest::wordsAreTranslated_data() {
    QTest::addColumn<QString>("german");
    QTest::addColumn<QString>("english");
    QTest::newRow("empty") << u""_s << u""_s;
    QTest::newRow("a word") << u"hallo"_s << u"hello"_s;
    QTest::newRow("a sentence") << u"Guten Morgen Welt."_s << u"Good morning world."_s;
    QTest::newRow("marks") << u"Hallo, das ist ein Test!"_s << u"Hello, this is a test!"_s;
    QTest::newRow("sentences") << u"Das ist ein Diktat. Das ist ein Rechner?\n\n  danke"_s
                               << u"This is a dictation. This is a computer?\n\n  thanks"_s;
    QTest::newRow("as recognised") << u"hallo welt das ist eins und zwei und drei"_s
                                   << u"hello welt this is one and two and three"_s;
    QTest::newRow("emoji and names") << u"Guten Abend \U0001F600 Łódź"_s << u"Good evening \U0001F600 Łódź"_s;
    QTest::newRow("nothing to translate") << u"\U0001F600 42 ..."_s << u"\U0001F600 42 ..."_s;
}

void TranslatorTest::wordsAreTranslated() {
    QFETCH(const QString, german);
    QFETCH(const QString, english);
    const Translator translator(files(), languages);
    QCOMPARE(QString::fromStdString(translator.translate(german.toStdString()).value()), english);
}

void TranslatorTest::everyInstructionSetSaysTheSame() {
    const RandomModel model = mediumModel();
    const Translator::Files modelFiles = writeRandomModel(model, m_folder.path());
    const std::string text = longText(model, 3);
    const std::string expected = Translator(modelFiles, languages).translate(text).value();
    for (const Kernels *kernels : availableKernels()) {
        const Translator translator(modelFiles, languages, {.kernels = kernels});
        QVERIFY2(translator.translate(text) == expected, kernels->name);
    }
}

void TranslatorTest::floatsSayTheSame() {
    const Translator translator(files(), languages, {.inFloats = true});
    QCOMPARE(translator.translate("Guten Morgen Welt und danke."),
             std::string("Good morning world and thanks."));
}

void TranslatorTest::withoutAShortlistItSaysTheSame() {
    Translator::Files withoutShortlist = files();
    withoutShortlist.shortlist.clear();
    const Translator translator(withoutShortlist, languages);
    QCOMPARE(translator.translate("Guten Morgen Welt und danke."),
             std::string("Good morning world and thanks."));
}

void TranslatorTest::severalThreadsSayTheSame() {
    const RandomModel model = mediumModel();
    const Translator::Files modelFiles = writeRandomModel(model, m_folder.path());
    const std::string text = longText(model, 40);
    const std::string alone = Translator(modelFiles, languages, {.threads = 1}).translate(text).value();
    QCOMPARE(Translator(modelFiles, languages, {.threads = 3}).translate(text), alone);

    // And sentence by sentence: what a sentence becomes does not depend on those beside it.
    const Translator translator(modelFiles, languages);
    std::istringstream lines(text);
    std::string oneByOne;
    for (std::string line; std::getline(lines, line);)
        oneByOne += translator.translate(line).value() + "\n";
    QCOMPARE(oneByOne, alone);
}

void TranslatorTest::threadsMayTranslateAtTheSameTime() {
    const Translator translator(files(), languages);
    std::vector<std::jthread> threads;
    std::atomic<int> right = 0;
    for (int i = 0; i < 4; ++i)
        threads.emplace_back([&] {
            for (int j = 0; j < 20; ++j)
                right += translator.translate("Das ist ein Test.") == "This is a test.";
        });
    threads.clear();
    QCOMPARE(right.load(), 80);
}

void TranslatorTest::twoDirectionsLiveSideBySide() {
    QTemporaryDir other;
    writeDictionaryModel(other.path().toStdString(), backAgain());
    const Translator first(files(), languages);
    const Translator second(filesIn(other.path()), {"en", "fr"});
    QCOMPARE(second.translate(first.translate("Das ist ein Test.").value()),
             std::string("Das ist ein Test."));
}

void TranslatorTest::twoOfThemTranslateByWayOfWhatIsBetween_data() {
    QTest::addColumn<std::string>("target");
    QTest::addColumn<QString>("german");
    QTest::addColumn<QString>("between");
    QTest::newRow("empty") << std::string("fr") << u""_s << u""_s;
    QTest::newRow("a sentence") << std::string("fr") << u"Das ist eine Übersetzung."_s
                                << u"Das ist eine traduction."_s;
    QTest::newRow("several") << std::string("fr") << u" Das ist ein Test. Hallo!\n\n danke und danke"_s
                             << u" Das ist ein Test. Hallo!\n\n danke und danke"_s;
    QTest::newRow("nothing to translate")
        << std::string("fr") << u"\U0001F600 42 ..."_s << u"\U0001F600 42 ..."_s;
    QTest::newRow("without spaces") << std::string("ja") << u"Das ist ein Test. Hallo! Das ist\ndanke"_s
                                    << u"Das ist ein Test.Hallo!Das ist\ndanke"_s;
}

void TranslatorTest::twoOfThemTranslateByWayOfWhatIsBetween() {
    QFETCH(const std::string, target);
    QFETCH(const QString, german);
    QFETCH(const QString, between);
    QTemporaryDir other;
    writeDictionaryModel(other.path().toStdString(), backAgain());
    const Translator first(files(), languages);
    const Translator second(filesIn(other.path()), {"en", target});
    QCOMPARE(QString::fromStdString(first.translate(german.toStdString(), second).value()), between);
}

void TranslatorTest::byWayOfAnotherLanguageEverySentenceComesOnce() {
    QTemporaryDir other;
    writeDictionaryModel(other.path().toStdString(), backAgain());
    const Translator first(files(), languages);
    const Translator second(filesIn(other.path()), {"en", "fr"});
    std::string text;
    for (int i = 0; i < 100; ++i)
        text += i % 3 == 0 ? "Das ist ein Diktat. " : "Guten Morgen Welt. ";
    QCOMPARE(first.translate(text, second), text);
}

void TranslatorTest::theSecondHalfIsAtTheFirstSentenceWhileTheFirstIsAtTheNext() {
    QTemporaryDir other;
    writeDictionaryModel(other.path().toStdString(), backAgain());
    const Kernels firsts = Meeting::kernelsOfFirst();
    const Kernels seconds = Meeting::kernelsOfSecond();
    const Translator first(files(), languages, {.kernels = &firsts});
    const Translator second(filesIn(other.path()), {"en", "fr"}, {.kernels = &seconds});
    Meeting::stepsToFirstSentence = std::numeric_limits<int>::max();
    first.translate("Das ist ein Test.");
    Meeting::stepsToFirstSentence = Meeting::steps.exchange(0);
    QVERIFY(Meeting::stepsToFirstSentence > 0);
    const std::string text = "Das ist ein Test. Hallo! Das ist ein Rechner.";
    QCOMPARE(first.translate(text, second), text);
    QVERIFY(Meeting::firstMetSecond);
    QVERIFY(Meeting::secondMetFirst);
}

void TranslatorTest::aStopIsObeyedOnBothWays() {
    const Translator translator(files(), languages);
    std::stop_source stop;
    stop.request_stop();
    QVERIFY(!translator.translate("hallo", translator, stop.get_token()));
}

void TranslatorTest::aStopIsObeyedAtOnce() {
    const RandomModel model = mediumModel();
    const Translator translator(writeRandomModel(model, m_folder.path()), languages);
    const std::string text = longText(model, 3000);
    std::stop_source stop;
    std::chrono::steady_clock::time_point stoppedAt;
    const std::jthread stopper([&, before = std::clock()](const std::stop_token &isOver) {
        // In the midst of it: once a tenth of a second has been computed.
        while (!isOver.stop_requested() && std::clock() - before < CLOCKS_PER_SEC / 10)
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        stoppedAt = std::chrono::steady_clock::now();
        stop.request_stop();
    });
    const auto result = translator.translate(text, stop.get_token());
    const auto late = std::chrono::steady_clock::now() - stoppedAt;
    QVERIFY(!result);
    qInfo("stopped after %.2f ms", std::chrono::duration<double, std::milli>(late).count());
    QVERIFY(late < std::chrono::seconds(1)); // 20 ms, on a machine that does nothing else: see the benchmark
}

void TranslatorTest::aStopBeforehandIsObeyed() {
    const Translator translator(files(), languages);
    std::stop_source stop;
    stop.request_stop();
    QVERIFY(!translator.translate("hallo", stop.get_token()));
    QVERIFY(translator.translate("hallo"));
}

void TranslatorTest::nothingIsComputedBehindTheProductThatAStopComesIn() {
    const RandomModel small{
        "small", {32, 64, 2, 2, 2, 200, 200, true}, RandomModel::Numbers::BytesAndMultipliers, 7, -100};
    const Translator::Files smallFiles = writeRandomModel(small, m_folder.path());
    Kernels kernels = Stopping::kernels();
    const Translator translator(smallFiles, languages, {.threads = 1, .kernels = &kernels});
    QVERIFY(translator.translate("ba", Stopping::stop.get_token()));
    const std::size_t all = Stopping::products;
    QVERIFY(all > 100);
    for (std::size_t product = 1; product <= all; ++product) {
        Stopping::kernels(product);
        QVERIFY(!translator.translate("ba", Stopping::stop.get_token()));
        QCOMPARE(Stopping::stepsBehind, std::size_t(0));
    }
}

/// One of 128 rows takes some milliseconds on a slow computer.
void TranslatorTest::noProductIsLongerThanAStopMayWait() {
    const RandomModel model = mediumModel();
    const Kernels kernels = Stopping::kernels();
    const Translator translator(writeRandomModel(model, m_folder.path()), languages,
                                {.threads = 1, .kernels = &kernels});
    QVERIFY(translator.translate(longText(model, 30)));
    QCOMPARE(Stopping::mostRows, std::size_t(128));
}

void TranslatorTest::outputIsBounded() {
    const RandomModel model = mediumModel(); // never ends a sentence
    const Translator translator(writeRandomModel(model, m_folder.path()), languages);
    QVERIFY(translator.translate("ba").value().size() < 200);
    const std::string text(20000, 'a');
    QVERIFY(translator.translate(text).value().size() < 20 * text.size());
}

void TranslatorTest::itsMemoryIsGivenBack() {
    if (isSanitized)
        QSKIP("a sanitizer keeps some of what is freed, which is resident then");
    platform::giveFreedMemoryBack(); // as the program does
    RandomModel model = mediumModel();
    model.shape.sourceVocabulary = model.shape.targetVocabulary = 30000;
    const Translator::Files modelFiles = writeRandomModel(model, m_folder.path());
    Translator(modelFiles, languages).translate(longText(model, 10));
    const std::size_t before = residentBytes();
    constexpr std::size_t leastOfOne = 4 << 20;
    for (int i = 0; i < 3; ++i) {
        const Translator translator(modelFiles, languages);
        QVERIFY(translator.translate(longText(model, 10)));
        QVERIFY(residentBytes() > before + leastOfOne);
    }
    QVERIFY(residentBytes() < before + leastOfOne);
}

void TranslatorTest::aFileThatIsNotThereIsNamed() {
    Translator::Files missing = files();
    missing.shortlist = "/nowhere/shortlist.bin";
    try {
        const Translator translator(missing, languages);
        QFAIL("it was not refused");
    } catch (const ModelError &error) {
        QCOMPARE(error.what(),
                 "The shortlist cannot be opened: /nowhere/shortlist.bin: No such file or directory.");
    }
}

void TranslatorTest::filesThatDoNotBelongTogetherAreRefused() {
    QTemporaryDir other;
    writeDictionaryModel(other.path().toStdString(), {{"eins", "one"}});
    Translator::Files mixed = files();
    mixed.targetVocabulary = filesIn(other.path()).targetVocabulary;
    QVERIFY_THROWS_EXCEPTION(ModelError, Translator(mixed, languages));
    mixed = files();
    mixed.shortlist = filesIn(other.path()).shortlist;
    QVERIFY_THROWS_EXCEPTION(ModelError, Translator(mixed, languages));
    mixed = files();
    mixed.model = files().shortlist;
    QVERIFY_THROWS_EXCEPTION(ModelError, Translator(mixed, languages));
}

QTEST_GUILESS_MAIN(TranslatorTest)
#include "TranslatorTest.moc"
