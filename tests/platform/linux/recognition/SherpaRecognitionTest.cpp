#include "platform/linux/LinuxMainQueue.h"
#include "platform/linux/models/LinuxModelStore.h"
#include "platform/linux/recognition/RecognizerClient.h"
#include "recognizer/ToneModels.h"
#include "support/ProcessTree.h"
#include "support/ResidentMemory.h"
#include "support/Sanitizers.h"
#include "support/Told.h"

#include <QDir>
#include <QElapsedTimer>
#include <QTemporaryDir>
#include <QTest>

#include <filesystem>
#include <fstream>
#include <functional>
#include <mutex>
#include <random>
#include <unistd.h>

using namespace Qt::StringLiterals;
using namespace quillora;
using namespace std::chrono_literals;
using platform::RecognizerClient;
using test::ToneSpeech;
namespace ToneModels = test::ToneModels;

namespace {

platform::RecognizerModel toLoad(const recognizer::Open &model) {
    platform::RecognizerModel one{model.engine, model.files};
    one.parameters = model.parameters;
    return one;
}

/// What becomes of sound.
class Dictation : public test::Told {
public:
    Dictation(RecognizerClient &client, const std::vector<std::int16_t> &sound,
              platform::AudioFormat format = {recognizer::sampleRate, 1})
        : m_job(client.recognize(handler())) {
        constexpr std::size_t frames = 1024;
        for (std::size_t begin = 0; begin < sound.size(); begin += frames) {
            const auto end = std::min(begin + frames, sound.size());
            m_job->sound().add({format, {sound.begin() + qsizetype(begin), sound.begin() + qsizetype(end)}});
        }
        m_job->sound().end();
    }

private:
    const std::shared_ptr<platform::RecognitionJob> m_job;
};

/// What a handler was told last: in an hour it is told a lot.
class LastText {
public:
    platform::RecognitionHandler handler() const {
        return [state = m_state](const auto &result, const auto &) {
            const std::lock_guard lock(state->mutex);
            if (result)
                state->result = *result;
        };
    }
    QString text() const {
        const std::lock_guard lock(m_state->mutex);
        return m_state->result.text;
    }
    bool isFinal() const {
        const std::lock_guard lock(m_state->mutex);
        return m_state->result.isFinal;
    }

private:
    struct State {
        std::mutex mutex;
        platform::RecognitionResult result;
    };
    const std::shared_ptr<State> m_state = std::make_shared<State>();
};

/// What the process has had of the processors, which does not depend on who else wants them.
std::chrono::milliseconds processorTime(qint64 process) {
    std::ifstream file("/proc/" + std::to_string(process) + "/stat");
    std::string skipped;
    std::getline(file, skipped, ')'); // its name may have blanks
    for (int field = 3; field < 14; ++field)
        file >> skipped;
    long long own = 0, ofTheSystem = 0;
    file >> own >> ofTheSystem;
    return std::chrono::milliseconds((own + ofTheSystem) * 1000 / ::sysconf(_SC_CLK_TCK));
}

/// The same model with its files in that folder.
recognizer::Open inFolder(recognizer::Open model, const QString &folder) {
    for (auto &file : model.files)
        file = folder.toStdString() + '/' + std::filesystem::path(file).filename().string();
    return model;
}

void copyInto(const QString &folder, const recognizer::Open &model) {
    QDir().mkpath(folder);
    const auto copies = inFolder(model, folder).files;
    for (std::size_t i = 0; i < copies.size(); ++i) {
        const QString copy = QString::fromStdString(copies[i]);
        QFile::copy(QString::fromStdString(model.files[i]), copy);
        QFile::setPermissions(copy, QFile::ReadOwner | QFile::WriteOwner);
    }
}

/// A copy of a model that a test may damage.
class BadModel {
public:
    explicit BadModel(const std::string &name) : m_model(inFolder(ToneModels::model(name), m_folder.path())) {
        copyInto(m_folder.path(), ToneModels::model(name));
    }

    /// One that lies where it may be damaged.
    explicit BadModel(recognizer::Open model) : m_model(std::move(model)) {}

    const std::string &file(std::size_t index) const { return m_model.files.at(index); }
    const recognizer::Open &model() const { return m_model; }

    std::string contents(std::size_t index) const {
        std::ifstream stream(file(index), std::ios::binary);
        return {std::istreambuf_iterator<char>(stream), {}};
    }
    void write(std::size_t index, const std::string &contents) {
        std::ofstream(file(index), std::ios::binary) << contents;
    }
    void writeTokens(const std::string &contents) { write(m_model.files.size() - 1, contents); }

    /// The file of another model, or another file of the same kind, in place of the first.
    void beAnother(const std::string &model, std::size_t index) {
        std::filesystem::copy_file(ToneModels::model(model).files.at(index), file(0),
                                   std::filesystem::copy_options::overwrite_existing);
    }
    void beAFolder() {
        std::filesystem::remove(file(0));
        std::filesystem::create_directory(file(0));
    }

    /// Another value of the same length for what a network says of itself.
    void tell(const std::string &key, const std::string &value) { replace(key, key.size() + 2, value); }
    /// Says nothing of that any more.
    void conceal(const std::string &key) { replace(key, 0, std::string(key.size(), 'x')); }

    /// Of the weights, and all else that is in the network's file.
    void flip(unsigned seed, int count) {
        std::minstd_rand random(seed);
        auto bytes = contents(0);
        for (int i = 0; i < count; ++i)
            bytes[random() % bytes.size()] ^= static_cast<char>(1U << (random() % 8));
        write(0, bytes);
    }

private:
    void replace(const std::string &key, std::size_t offset, const std::string &value) {
        auto bytes = contents(0);
        const auto place = bytes.rfind(key);
        if (place == std::string::npos)
            throw std::runtime_error("the network says nothing of " + key);
        bytes.replace(place + offset, value.size(), value);
        write(0, bytes);
    }

    QTemporaryDir m_folder;
    recognizer::Open m_model;
};

using Damage = std::function<void(BadModel &)>;

void beAnotherType(BadModel &bad) { bad.beAnother("streaming-nemo-ctc", 0); }

void haveFewTokens(BadModel &bad) { bad.writeTokens("<blk> 0\n\u2581 1\na 2\n"); }

} // namespace

/// The second engine in the recognizer's process, confined as it is in use.
class SherpaRecognitionTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void everyModelHearsInItsProcess_data() {
        QTest::addColumn<QString>("model");
        for (const char *model :
             {"streaming-zipformer-ctc", "streaming-zipformer-transducer", "streaming-nemo-ctc",
              "streaming-nemo-transducer", "offline-nemo-ctc", "offline-nemo-transducer",
              "offline-zipformer-ctc", "offline-zipformer-transducer", "offline-omnilingual-ctc",
              "offline-dolphin-ctc", "offline-sense-voice", "offline-whisper", "offline-canary"})
            QTest::newRow(model) << QString::fromLatin1(model);
    }
    void everyModelHearsInItsProcess() {
        QFETCH(QString, model);
        RecognizerClient client(QUILLORA_UNHURRIED_RECOGNIZER);
        const bool isTold = model == u"offline-whisper" || model == u"offline-canary";
        client.load({toLoad(ToneModels::model(model.toStdString(), isTold ? "en" : ""))});
        QCOMPARE(Dictation(client, ToneSpeech().say("hello world")).finalText(), u"hello world"_s);
        QVERIFY(client.modelState() == RecognizerClient::ModelState::ready);
    }

    void everyMicrophoneIsUnderstood_data() {
        QTest::addColumn<int>("rate");
        QTest::newRow("16 kHz") << 16000;
        QTest::newRow("44.1 kHz") << 44100;
        QTest::newRow("48 kHz") << 48000;
    }
    void everyMicrophoneIsUnderstood() {
        QFETCH(int, rate);
        RecognizerClient client(QUILLORA_RECOGNIZER);
        client.load({toLoad(ToneModels::model("streaming-zipformer-transducer"))});
        QCOMPARE(Dictation(client, ToneSpeech{.rate = rate}.say("the quick brown fox"), {double(rate), 1})
                     .finalText(),
                 u"the quick brown fox"_s);
    }

    void whatIsSaidAfterAPauseIsJoinedAsTheLanguageWrites_data() {
        QTest::addColumn<QString>("alphabet");
        QTest::addColumn<QString>("text");
        QTest::newRow("English") << QString() << u"ab cd"_s;
        QTest::newRow("Chinese") << u"chinese"_s << u"\u4E01\u4E02\u4E03\u4E04"_s;
        QTest::newRow("Thai") << u"thai"_s << u"\u0E02\u0E03\u0E04\u0E05"_s;
    }
    void whatIsSaidAfterAPauseIsJoinedAsTheLanguageWrites() {
        QFETCH(QString, alphabet);
        QFETCH(QString, text);
        auto model = ToneModels::model("streaming-zipformer-ctc");
        if (!alphabet.isEmpty())
            model = ToneModels::spelled(model, alphabet.toStdString());
        RecognizerClient client(QUILLORA_RECOGNIZER);
        client.load({toLoad(model)});
        const Dictation dictation(client, ToneSpeech().say("ab||cd"));
        QCOMPARE(dictation.finalText(), text);
        QVERIFY(dictation.texts().contains(text.left(2)));
    }

    void whatAModelChangesItsMindAboutIsShownAnew() {
        RecognizerClient client(QUILLORA_UNHURRIED_RECOGNIZER);
        client.load({toLoad(ToneModels::revisingModel())});
        test::Told told;
        const auto job = client.recognize(told.handler());
        job->sound().add({{recognizer::sampleRate, 1}, ToneSpeech{.tail = 0.2}.say("q")});
        QVERIFY(test::ChildProcess::waitUntil([&] { return told.texts().contains(u"k"_s); }, 60000));
        job->sound().add({{recognizer::sampleRate, 1}, ToneSpeech{.lead = 0}.say("uick")});
        job->sound().end();
        QCOMPARE(told.finalText(), u"quick"_s);
    }

    void ofTwoDictationsAtOnceTheSecondWaitsForTheFirst() {
        RecognizerClient client(QUILLORA_RECOGNIZER);
        client.load({toLoad(ToneModels::model("streaming-zipformer-ctc"))});
        const Dictation first(client, ToneSpeech().say("hello"));
        const Dictation second(client, ToneSpeech().say("world"));
        QCOMPARE(second.finalText(), u"world"_s);
        QVERIFY(first.isFinal());
        QCOMPARE(first.finalText(), u"hello"_s);
    }

    /// For QUILLORA_MINUTES, or one.
    void longSpeechIsHeardWordForWordInMemoryAndTimeThatStayFlat() {
        const int minutes = std::max(1, qEnvironmentVariableIntValue("QUILLORA_MINUTES"));
        RecognizerClient client(QUILLORA_RECOGNIZER);
        client.load({toLoad(ToneModels::model("streaming-zipformer-ctc"))});
        const LastText last;
        const auto job = client.recognize(last.handler());
        const auto sentence = ToneSpeech().say("the quick brown fox|");
        const int perMinute = 60 * recognizer::sampleRate / int(sentence.size()) + 1;
        const auto heard = [&] { return last.text().count(u"the quick brown fox"_s); };
        QVERIFY(test::ChildProcess::waitUntil(
            [&] { return client.modelState() == RecognizerClient::ModelState::ready; }, 60000));
        const qint64 process = test::ProcessTree::descendants().constFirst().id;
        std::vector<qint64> memory;
        std::vector<std::chrono::milliseconds> time{processorTime(process)};
        QElapsedTimer clock;
        clock.start();
        for (int minute = 1; minute <= minutes; ++minute) {
            for (int i = 0; i < perMinute; ++i)
                job->sound().add({{recognizer::sampleRate, 1}, sentence});
            // No microphone is further ahead.
            QVERIFY(test::ChildProcess::waitUntil([&] { return heard() >= minute * perMinute - 1; }, 60000));
            memory.push_back(qint64(test::residentBytes(std::to_string(process)) / 1024));
            time.push_back(processorTime(process));
        }
        job->sound().end();
        QVERIFY(test::ChildProcess::waitUntil([&] { return last.isFinal(); }, 60000));
        QCOMPARE(heard(), minutes * perMinute);
        const auto all = time.back() - time.front();
        const auto inTheFirst = time[1] - time[0], inTheLast = time.back() - time[time.size() - 2];
        qInfo(
            "%d minutes in %.1f s, %lld kB more after the first; %lld ms of the processors, %lld ms for the "
            "first, %lld ms for the last",
            minutes, double(clock.elapsed()) / 1000, memory.back() - memory.front(),
            static_cast<long long>(all.count()), static_cast<long long>(inTheFirst.count()),
            static_cast<long long>(inTheLast.count()));
        QVERIFY(memory.back() - memory.front() < 4096);
        QVERIFY(test::isSanitized || all <= minutes * 1s);
        // Processors that others use are slower, which makes much of a minute that takes little.
        QVERIFY(test::isSanitized || inTheLast <= 2 * inTheFirst + 200ms);
    }

    /// Whatever a model does to its process, the program says so and goes on with a whole one.
    void aBadModelIsSurvivedWithASentence_data() {
        QTest::addColumn<std::string>("model");
        QTest::addColumn<Damage>("damage");
        constexpr auto streaming = "streaming-zipformer-ctc";
        constexpr auto transducer = "streaming-zipformer-transducer";
        constexpr auto offline = "offline-nemo-ctc";
        const auto add = [](const char *fault, const std::string &model, const Damage &damage) {
            QTest::newRow(fault) << model << damage;
        };
        const auto holds = [](const std::string &contents) -> Damage {
            return [=](BadModel &bad) { bad.write(0, contents); };
        };
        const auto says = [](const std::string &key, const std::string &value) -> Damage {
            return [=](BadModel &bad) { bad.tell(key, value); };
        };
        const auto tokens = [](const std::string &contents) -> Damage {
            return [=](BadModel &bad) { bad.writeTokens(contents); };
        };
        const Damage half = [](BadModel &bad) {
            const auto whole = bad.contents(0);
            bad.write(0, whole.substr(0, whole.size() / 2));
        };
        const Damage joiner = [](BadModel &bad) { bad.beAnother(transducer, 2); };

        add("empty", streaming, holds({}));
        add("half", streaming, half);
        add("garbage", streaming, holds(std::string(12000, '\xA5')));
        add("a page of the web", streaming, holds("<html>404</html>"));
        add("a folder", streaming, [](BadModel &bad) { bad.beAFolder(); });
        add("another type", streaming, beAnotherType);
        add("nothing said of itself", streaming, joiner);
        add("steps of no length", streaming, says("decode_chunk_len", "00"));
        add("a negative window", streaming, says("\x0A\x01T", "-5"));
        add("a window that is no number", streaming, says("\x0A\x01T", "ab"));
        add("a window of another length than the network's", streaming, says("\x0A\x01T", "39"));
        add("tokens without a blank", streaming, tokens("<x> 0\n\u2581 1\na 2\n"));
        add("tokens with a bad line", streaming, tokens("<blk> 0\na b c d\n"));
        add("tokens that are none", streaming, tokens({}));
        add("half an encoder", transducer, half);
        add("an encoder that is a joiner", transducer, joiner);
        add("a decoder that is none", transducer, [](BadModel &bad) { bad.write(1, "x"); });
        add("a joiner that is none", transducer, [](BadModel &bad) { bad.write(2, "x"); });
        add("an encoder of no size", transducer, says("encoder_dims", "x"));
        add("an encoder of more layers", transducer, says("num_encoder_layers", "9"));
        add("offline: half", offline, half);
        add("offline: tokens that are too few", offline, tokens("\u2581 0\na 1\nb 2\n"));
        add("offline: nothing said of itself", offline, joiner);
        add("offline: not the window", "offline-sense-voice",
            [](BadModel &bad) { bad.conceal("lfr_window_size"); });
    }
    void aBadModelIsSurvivedWithASentence() {
        QFETCH(const std::string, model);
        QFETCH(const Damage, damage);
        BadModel bad(model);
        damage(bad);
        RecognizerClient client(QUILLORA_RECOGNIZER, {.loading = 2s});
        client.load({toLoad(bad.model())});
        const Dictation dictation(client, ToneSpeech().say("hello"));
        QCOMPARE(dictation.finalText(), QString());
        const QStringList sentences{u"The speech model is damaged."_s,
                                    u"The speech model does not work on this computer."_s,
                                    u"The speech model is not there."_s};
        QCOMPARE(dictation.errors().size(), 1);
        QVERIFY2(sentences.contains(dictation.errors().constFirst()),
                 qPrintable(dictation.errors().constFirst()));
        QVERIFY(client.modelState() == RecognizerClient::ModelState::failed);

        client.load({toLoad(ToneModels::model("streaming-zipformer-ctc"))});
        QCOMPARE(Dictation(client, ToneSpeech().say("hello")).finalText(), u"hello"_s);
    }

    /// None of them gets as far as that where it was installed whole.
    void aModelThatHasBecomeBadIsRefusedByTheStore_data() {
        aBadModelIsSurvivedWithASentence_data();
        QTest::newRow("tokens that are too few")
            << std::string("streaming-zipformer-ctc") << Damage(haveFewTokens);
        QTest::newRow("flipped bytes")
            << std::string("streaming-zipformer-ctc") << Damage([](BadModel &bad) { bad.flip(1, 1); });
    }
    void aModelThatHasBecomeBadIsRefusedByTheStore() {
        QFETCH(const std::string, model);
        QFETCH(const Damage, damage);
        const QString id = u"m"_s;
        const QTemporaryDir home;
        const platform::ModelFolders folders(home.filePath(u"models"_s), {});
        const auto whole = ToneModels::model(model);
        copyInto(folders.newFolder(id, u"1"_s) + u"/files"_s, whole);
        QVERIFY(folders.publish(id, u"1"_s, {}, [] { return false; }));
        platform::LinuxMainQueue queue;
        platform::LinuxModelStore store(
            queue, platform::LinuxModelStore::Ground{.folders = folders, .catalog = {{}, {u"sherpa"_s}}});
        const auto use = store.use(id);
        QVERIFY(use);
        BadModel bad(inFolder(whole, use->folder()));
        damage(bad);
        store.check(id);
        QVERIFY(test::ChildProcess::waitUntil(
            [&] { return store.state(id).presence == platform::ModelState::Presence::damaged; }, 60000));
        QVERIFY(!store.use(id));
    }

    /// They may make another text of it: it is by its checksum that such a model is found out.
    void bytesThatHaveFlippedInAModelDoTheProgramNoHarm_data() {
        QTest::addColumn<int>("count");
        QTest::newRow("a few") << 10;
        QTest::newRow("many") << 500;
    }
    void bytesThatHaveFlippedInAModelDoTheProgramNoHarm() {
        QFETCH(int, count);
        RecognizerClient client(QUILLORA_RECOGNIZER, {.loading = 2s});
        for (unsigned seed = 1; seed <= 8; ++seed) {
            BadModel bad("streaming-zipformer-ctc");
            bad.flip(seed, count);
            client.load({toLoad(bad.model())});
            const Dictation dictation(client, ToneSpeech().say("hello"));
            dictation.finalText();
            QVERIFY(dictation.isFinal() || dictation.errors().size() == 1);
        }
        client.load({toLoad(ToneModels::model("streaming-zipformer-ctc"))});
        QCOMPARE(Dictation(client, ToneSpeech().say("hello")).finalText(), u"hello"_s);
    }

    void aModelThatFailsOnlyWithWhatIsSaidIsSurvivedWithASentence() {
        BadModel bad("streaming-zipformer-ctc");
        haveFewTokens(bad);
        RecognizerClient client(QUILLORA_RECOGNIZER);
        client.load({toLoad(bad.model())});
        const Dictation dictation(client, ToneSpeech().say("hello"));
        QCOMPARE(dictation.finalText(), QString());
        QCOMPARE(dictation.errors(), QStringList{u"The speech could not be recognized."_s});
        // As much as it knows it hears.
        QCOMPARE(Dictation(client, ToneSpeech().say("a")).finalText(), u"a"_s);
    }

    void aBadModelMakesWayForTheNext() {
        BadModel bad("streaming-zipformer-ctc");
        beAnotherType(bad);
        RecognizerClient client(QUILLORA_RECOGNIZER);
        client.load({toLoad(bad.model()), toLoad(ToneModels::model("offline-nemo-ctc"))});
        QCOMPARE(Dictation(client, ToneSpeech().say("hello")).finalText(), u"hello"_s);
    }
};

QTEST_GUILESS_MAIN(SherpaRecognitionTest)
#include "SherpaRecognitionTest.moc"
