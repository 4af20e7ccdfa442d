#include "recognizer/Session.h"
#include "recognizer/ToneModels.h"
#include "recognizer/sherpa/SherpaEngine.h"
#include "support/Files.h"

#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

#include <algorithm>
#include <clocale>
#include <set>

using namespace Qt::StringLiterals;
using namespace quillora;
using namespace recognizer;
using test::ToneSpeech;
namespace ToneModels = test::ToneModels;

namespace {

const QList<const char *> streamingModels{"streaming-zipformer-ctc", "streaming-zipformer-transducer",
                                          "streaming-nemo-ctc", "streaming-nemo-transducer"};
const QList<const char *> offlineModels{"offline-nemo-ctc",        "offline-nemo-transducer",
                                        "offline-zipformer-ctc",   "offline-zipformer-transducer",
                                        "offline-omnilingual-ctc", "offline-dolphin-ctc",
                                        "offline-sense-voice",     "offline-whisper",
                                        "offline-canary"};

std::unique_ptr<Decoder> load(const Open &model) {
    return SherpaEngine(ToneModels::libraryFolder(), test::timeThatStandsStill).load(model);
}

/// The texts on the way, and the last one.
std::vector<std::string> textsOf(Decoder &decoder, const std::vector<std::int16_t> &sound) {
    std::vector<std::string> texts;
    decoder.beginUtterance();
    constexpr std::size_t portion = 2000;
    for (std::size_t begin = 0; begin < sound.size(); begin += portion) {
        decoder.accept(std::span(sound).subspan(begin, std::min(portion, sound.size() - begin)));
        texts.push_back(decoder.text());
    }
    decoder.endUtterance();
    texts.push_back(decoder.text());
    return texts;
}

QString textOf(Decoder &decoder, const std::vector<std::int16_t> &sound) {
    return QString::fromStdString(textsOf(decoder, sound).back());
}

std::vector<std::int16_t> joined(const std::vector<std::vector<std::int16_t>> &parts) {
    std::vector<std::int16_t> sound;
    for (const auto &part : parts)
        sound.insert(sound.end(), part.begin(), part.end());
    return sound;
}

/// Whether the last of the sound is speech, or half a second before it.
bool hearsSpeechAfter(Decoder &decoder, const std::vector<std::int16_t> &sound) {
    decoder.beginUtterance();
    decoder.accept(sound);
    const bool hears = decoder.hearsSpeech();
    decoder.endUtterance();
    return hears;
}

/// The utterances of a dictation.
std::vector<std::string> dictated(const Open &model, const std::vector<std::int16_t> &sound) {
    Engines engines;
    engines.push_back(std::make_unique<SherpaEngine>(ToneModels::libraryFolder(), test::timeThatStandsStill));
    std::vector<std::string> texts;
    Session session(
        engines,
        [&texts](const Answer &answer) {
            if (const auto *settled = std::get_if<Settled>(&answer))
                texts.push_back(settled->text);
            else if (const auto *finished = std::get_if<Finished>(&answer))
                texts.push_back(finished->text);
        },
        [](const auto &) { return 0U; });
    session.handle(model);
    session.handle(Begin{1});
    constexpr std::size_t portion = 2000;
    for (std::size_t begin = 0; begin < sound.size(); begin += portion) {
        const auto end = std::min(begin + portion, sound.size());
        session.handle(Sound{1, {sound.begin() + qsizetype(begin), sound.begin() + qsizetype(end)}});
    }
    session.handle(End{1});
    return texts;
}

/// Whether loading it is refused, and why.
std::optional<Refusal> refusalOf(const Open &model) {
    try {
        load(model);
        return {};
    } catch (const LoadFailure &failure) {
        return failure.reason;
    }
}

/// As the program does; some do not work without.
std::string_view languageOf(const QString &model) {
    return model == u"offline-whisper" || model == u"offline-canary" ? "en" : "";
}

std::unique_ptr<Decoder> load(const QString &model) {
    return load(ToneModels::model(model.toStdString(), languageOf(model)));
}

void addModels() {
    QTest::addColumn<QString>("model");
    for (const char *model : streamingModels + offlineModels)
        QTest::newRow(model) << QString::fromLatin1(model);
}

} // namespace

class SherpaDecoderTest : public QObject {
    Q_OBJECT

    const Open offline = ToneModels::model("offline-nemo-ctc");

private Q_SLOTS:
    void initTestCase() {
        QVERIFY2(QFile::exists(QString::fromStdString(ToneModels::libraryFolder()) + u"/libonnxruntime.so"_s),
                 "packaging/fetch-speech-library gets the speech library");
    }

    void everyWordIsHeardToItsEnd_data() { addModels(); }
    void everyWordIsHeardToItsEnd() {
        QFETCH(QString, model);
        const auto decoder = load(model);
        QCOMPARE(textOf(*decoder, ToneSpeech().say("hello world")), u"hello world"_s);
    }

    void moreSoundMayChangeWhatWasHeard() {
        auto texts = textsOf(*load(ToneModels::revisingModel()), ToneSpeech().say("qu"));
        const auto repeated = std::ranges::unique(texts);
        texts.erase(repeated.begin(), repeated.end());
        QCOMPARE(texts, (std::vector<std::string>{"", "k", "qu"}));
    }

    void aMinuteWithoutAPauseLosesNoLetterWhereItIsCut_data() {
        QTest::addColumn<QString>("model");
        for (const char *model : streamingModels)
            QTest::newRow(model) << QString::fromLatin1(model);
    }
    void aMinuteWithoutAPauseLosesNoLetterWhereItIsCut() {
        QFETCH(QString, model);
        std::string said;
        while (said.size() < 160) // of 0.4 s each
            said += "thequickbrownfoxjumpsoverthelazydog";
        const auto texts = dictated(ToneModels::model(model.toStdString(), languageOf(model)),
                                    ToneSpeech{.letterLength = 0.2}.say(said));
        QCOMPARE(texts.size(), 2U);
        QCOMPARE(texts[0] + texts[1], said);
    }

    void textsGrowWhileSomebodySpeaks_data() { addModels(); }
    void textsGrowWhileSomebodySpeaks() {
        QFETCH(QString, model);
        const auto decoder = load(model);
        const auto texts = textsOf(*decoder, ToneSpeech().say("the quick brown fox"));
        QVERIFY(std::set(texts.begin(), texts.end()).size() > 5);
        QVERIFY(std::is_sorted(texts.begin(), texts.end(),
                               [](const auto &one, const auto &other) { return one.size() < other.size(); }));
    }

    void loudnessAndNoiseChangeNothing_data() {
        QTest::addColumn<QString>("model");
        QTest::addColumn<double>("amplitude");
        QTest::addColumn<double>("noise");
        for (const char *model : streamingModels + offlineModels) {
            const auto add = [model](const char *name, double amplitude, double noise) {
                QTest::addRow("%s, %s", model, name) << QString::fromLatin1(model) << amplitude << noise;
            };
            add("loud", 0.98, 0);
            add("clipped", 3, 0);
            add("quiet", 0.03, 0);
            add("in noise", 0.3, 0.0212);
        }
    }
    void loudnessAndNoiseChangeNothing() {
        QFETCH(QString, model);
        QFETCH(double, amplitude);
        QFETCH(double, noise);
        const auto decoder = load(model);
        QCOMPARE(
            textOf(*decoder, ToneSpeech{.amplitude = amplitude, .noise = noise}.say("the quick brown fox")),
            u"the quick brown fox"_s);
    }

    void silenceAndNoiseSayNothing_data() { addModels(); }
    void silenceAndNoiseSayNothing() {
        QFETCH(QString, model);
        const auto decoder = load(model);
        for (const double noise : {0.0, 0.0005, 0.1})
            QCOMPARE(textOf(*decoder, ToneSpeech{.noise = noise}.say("||||")), QString());
        QCOMPARE(textOf(*decoder, {}), QString());
        QCOMPARE(textOf(*decoder, std::vector<std::int16_t>(160)), QString());
    }

    void aModelThatWouldMakeWordsOfSilenceIsNotGivenAny() {
        int looksAtTheClock = 0; // as every decoding does
        const auto clock = [&] { return ++looksAtTheClock, test::timeThatStandsStill(); };
        const auto decoder =
            SherpaEngine(ToneModels::libraryFolder(), clock).load(ToneModels::model("offline-nemo-ctc"));
        QVERIFY(looksAtTheClock > 0);
        looksAtTheClock = 0;
        QCOMPARE(textOf(*decoder, ToneSpeech().say("||||")), QString());
        QCOMPARE(looksAtTheClock, 0);
    }

    void aSegmentThatEndsEarlyEndsBetweenTwoSounds() {
        const auto decoder = load(ToneModels::model("offline-nemo-ctc"));
        const auto sound = ToneSpeech{.letterLength = 0.3}.say("abcdefgh");
        decoder->beginUtterance();
        const auto cut = sound.size() - 8000; // in the middle of the last tone
        decoder->accept(std::span(sound).first(cut));
        const auto rest = decoder->endEarly();
        QCOMPARE(decoder->text(), std::string("abcdefg"));
        decoder->beginUtterance();
        decoder->accept(std::span(sound).subspan(cut - rest));
        decoder->endUtterance();
        QCOMPARE(decoder->text(), std::string("h"));
    }

    void wordsThatWaitedForAModelDoNotWaitBecauseItsFirstRunTookLong() {
        DecodingPace::Time now{};
        std::chrono::seconds passing(5); // between two looks at the clock
        const auto clock = [&] { return now += passing; };
        const auto decoder =
            SherpaEngine(ToneModels::libraryFolder(), clock).load(ToneModels::model("offline-nemo-ctc"));
        passing = {};
        decoder->beginUtterance();
        decoder->accept(ToneSpeech().say("the quick brown fox"));
        QCOMPARE(decoder->text(), std::string("the quick brown fox"));
        QVERIFY(!decoder->isFull());
    }

    // Where a model tells speech from pauses.

    void aPauseFullOfNoiseIsHeardByADetectorAlone() {
        const auto sound = joined({ToneSpeech().say("hello"), ToneSpeech::knock(5)});
        QVERIFY(hearsSpeechAfter(*load(offline), sound));
        QVERIFY(!hearsSpeechAfter(*load(ToneModels::withDetector(offline)), sound));
    }

    void whatADetectorTakesForNoiseIsToldByItsLoudness() {
        const auto decoder = load(ToneModels::withDetector(offline));
        QVERIFY(hearsSpeechAfter(*decoder, ToneSpeech::knock(5)));
        // Also if it has known what was said before.
        QCOMPARE(textOf(*decoder, ToneSpeech().say("hello")), u"hello"_s);
        QVERIFY(hearsSpeechAfter(*decoder, ToneSpeech::knock(5)));
    }

    void aDictationSettlesAtAPauseFullOfNoise() {
        const auto sound =
            joined({ToneSpeech().say("hello"), ToneSpeech::knock(5), ToneSpeech{.lead = 0}.say("world")});
        const std::vector<std::string> both{"hello", "world"}, together{"helloworld"};
        QVERIFY(dictated(ToneModels::withDetector(offline), sound) == both);
        QVERIFY(dictated(offline, sound) == together);
    }

    void aStreamingModelHasNoUseForADetector() {
        const auto decoder = load(ToneModels::withDetector(ToneModels::model("streaming-zipformer-ctc")));
        QCOMPARE(textOf(*decoder, ToneSpeech().say("hello")), u"hello"_s);
    }

    void aDetectorThatCannotBeReadIsDamaged() {
        auto model = ToneModels::withDetector(offline);
        const QTemporaryDir folder;
        for (auto *name : {&model.files.back(), &model.parameters.back().value})
            *name = folder.path().toStdString();
        QVERIFY(refusalOf(model) == Refusal::damaged);
        const QString path = folder.filePath(u"garbage.onnx"_s);
        test::writeFile(path, QByteArray(5000, '\xA5'));
        for (auto *name : {&model.files.back(), &model.parameters.back().value})
            *name = path.toStdString();
        QVERIFY(refusalOf(model) == Refusal::damaged);
    }

    void aModelThatTakesALanguageIsToldIt() {
        const auto sound = ToneSpeech().say("hello");
        // Their German writes every letter as the next one.
        QCOMPARE(textOf(*load(ToneModels::model("streaming-nemo-transducer", "de-DE")), sound), u"ifmmp"_s);
        QCOMPARE(textOf(*load(ToneModels::model("streaming-nemo-transducer", "en-US")), sound), u"hello"_s);
        for (const char *model : {"offline-whisper", "offline-canary"}) {
            QCOMPARE(textOf(*load(ToneModels::model(model, "de")), sound), u"ifmmp"_s);
            QCOMPARE(textOf(*load(ToneModels::model(model, "en")), sound), u"hello"_s);
        }
        for (const char *language : {"zh", "en", "auto"})
            QCOMPARE(textOf(*load(ToneModels::model("offline-sense-voice", language)), sound), u"hello"_s);
    }

    void chineseAndThaiAreWrittenWithoutBlanks() {
        const auto model = ToneModels::model("streaming-zipformer-ctc");
        const auto sound = ToneSpeech().say("abc");
        QCOMPARE(textOf(*load(ToneModels::spelled(model, "chinese")), sound), u"\u4E01\u4E02\u4E03"_s);
        QCOMPARE(textOf(*load(ToneModels::spelled(model, "thai")), sound), u"\u0E02\u0E03\u0E04"_s);
    }

    void aLocaleWithCommasChangesNothing() {
        const QTemporaryDir locales;
        QCOMPARE(QProcess::execute(u"localedef"_s, {u"-i"_s, u"de_DE"_s, u"-f"_s, u"UTF-8"_s,
                                                    locales.filePath(u"de_DE.UTF-8"_s)}),
                 0);
        qputenv("LOCPATH", locales.path().toLocal8Bit());
        QVERIFY(std::setlocale(LC_ALL, "de_DE.UTF-8"));
        QCOMPARE(std::localeconv()->decimal_point, ",");
        QCOMPARE(textOf(*load(ToneModels::model("streaming-zipformer-ctc")), ToneSpeech().say("hello")),
                 u"hello"_s);
        std::setlocale(LC_ALL, "C");
        qunsetenv("LOCPATH");
    }

    void aFileThatIsNotThereIsMissing() {
        auto model = ToneModels::model("streaming-zipformer-ctc");
        model.files.front() += ".gone";
        QVERIFY(refusalOf(model) == Refusal::missing);
    }

    void anUnknownFamilyIsRefused() {
        auto model = ToneModels::model("streaming-zipformer-ctc");
        model.parameters = {{"family", "another-ctc"}, {"decoding", "streaming"}};
        QVERIFY(refusalOf(model) == Refusal::incompatible);
        model.parameters = {{"family", "zipformer-ctc"}, {"decoding", "another"}};
        QVERIFY(refusalOf(model) == Refusal::incompatible);
        model = ToneModels::model("streaming-zipformer-ctc");
        model.files.pop_back();
        QVERIFY(refusalOf(model) == Refusal::incompatible);
    }

    void withoutTheLibraryNothingIsLoaded() {
        try {
            SherpaEngine("/nonexistent").load(ToneModels::model("streaming-zipformer-ctc"));
            QFAIL("loaded");
        } catch (const LoadFailure &failure) {
            QVERIFY(failure.reason == Refusal::incompatible);
        }
    }
};

QTEST_APPLESS_MAIN(SherpaDecoderTest)
#include "SherpaDecoderTest.moc"
