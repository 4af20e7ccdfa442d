#include "recognizer/Session.h"
#include "recognizer/FakeEngine.h"

#include <QTemporaryDir>
#include <QTest>

#include <fstream>
#include <thread>

using namespace quillora;
using namespace recognizer;
namespace FakeSpeech = test::FakeSpeech;

namespace {

/// A session of the fake engine, and what it has answered.
class FakeSession {
public:
    explicit FakeSession(const std::string &script = {}) {
        engines.push_back(std::make_unique<test::FakeEngine>());
        std::ofstream(model()) << script;
    }

    std::string model() const { return m_folder.filePath(QStringLiteral("model")).toStdString(); }
    void open() { session.handle(Open{protocolVersion, "fake", {model()}}); }
    void begin(std::uint64_t position = 0) { session.handle(Begin{1, position}); }
    void hear(const std::vector<std::int16_t> &sound) {
        constexpr std::size_t portion = 341;
        for (std::size_t begin = 0; begin < sound.size(); begin += portion) {
            const auto end = std::min(begin + portion, sound.size());
            session.handle(Sound{1, {sound.begin() + qsizetype(begin), sound.begin() + qsizetype(end)}});
        }
    }

    /// All texts of a kind.
    template <typename Kind>
    std::vector<std::string> texts() const {
        std::vector<std::string> texts;
        for (const auto &answer : answers) {
            if (const auto *one = std::get_if<Kind>(&answer))
                texts.push_back(one->text);
        }
        return texts;
    }

    std::vector<Answer> answers;
    Engines engines;
    Session session{engines, [this](const Answer &answer) { answers.push_back(answer); },
                    [this](const auto &readable) {
                        for (const auto &file : readable)
                            answers.push_back(Interim{0, "may read " + file});
                        return 3U;
                    },
                    [](const std::function<void()> &work) {
                        work();
                        return std::chrono::milliseconds(1400);
                    }};

private:
    QTemporaryDir m_folder;
};

using Texts = std::vector<std::string>;

} // namespace

class SessionTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void theProcessIsConfinedBeforeTheModelIsLoaded() {
        FakeSession fake("load damaged");
        fake.open();
        QVERIFY((fake.answers == std::vector<Answer>{Interim{0, "may read " + fake.model()},
                                                     Interim{0, "may read /nonexistent/library"},
                                                     Refused{Refusal::damaged}}));
    }

    void aModelIsLoadedOnce() {
        FakeSession fake;
        fake.open();
        QVERIFY(fake.answers.back() == Answer(Ready{3}));
        QVERIFY_THROWS_EXCEPTION(ProtocolError, fake.open());
    }

    void afterARefusalNoOtherModelIsLoaded() {
        FakeSession fake;
        fake.session.handle(Open{protocolVersion, "another", {fake.model()}});
        QVERIFY_THROWS_EXCEPTION(ProtocolError, fake.open());
    }

    void anotherVersionIsRefusedWithoutALook() {
        for (const bool isDecoded : {true, false}) {
            FakeSession fake;
            fake.session.handle(isDecoded ? Open{protocolVersion + 1, {}, {}}
                                          : Open{protocolVersion + 1, "fake", {fake.model()}});
            QVERIFY(fake.answers == std::vector<Answer>{Refused{Refusal::otherVersion}});
        }
    }

    void anUnknownEngineIsRefused() {
        FakeSession fake;
        fake.session.handle(Open{protocolVersion, "another", {fake.model()}});
        QVERIFY(fake.answers == std::vector<Answer>{Refused{Refusal::incompatible}});
    }

    void interimTextsComeAsTheyChangeAndTheFinalOneAtTheEnd() {
        FakeSession fake;
        fake.open();
        fake.begin();
        fake.hear(FakeSpeech::words(1, 3));
        fake.session.handle(End{1});
        QVERIFY((fake.texts<Interim>() == Texts{"may read " + fake.model(), "may read /nonexistent/library",
                                                "w1", "w1 w2", "w1 w2 w3"}));
        QVERIFY(fake.answers.back() == Answer(Finished{1, "w1 w2 w3"}));
    }

    void soundIsAnsweredOnceItIsDecoded() {
        FakeSession fake;
        fake.open();
        fake.begin();
        fake.session.handle(Sound{1, FakeSpeech::word(7, 100)});
        QVERIFY(fake.answers[3] == Answer(Interim{1, "w7"}));
        QVERIFY(fake.answers[4] == Answer(Heard{1}));
    }

    void aPauseSettlesWhatWasSaid() {
        FakeSession fake;
        fake.open();
        fake.begin();
        fake.hear(FakeSpeech::words(1, 2));
        fake.hear(FakeSpeech::silence(1100));
        fake.hear(FakeSpeech::words(3, 4));
        fake.session.handle(End{1});
        QVERIFY(fake.texts<Settled>() == Texts{"w1 w2"});
        QVERIFY(fake.texts<Finished>() == Texts{"w3 w4"});
    }

    void theNextUtteranceBeginsWithTheLastFifthOfASecondOfThePause() {
        FakeSession fake;
        fake.open();
        fake.begin();
        std::size_t heard = 0;
        for (const auto &sound : {FakeSpeech::words(1, 2), FakeSpeech::silence(1100)}) {
            for (std::size_t i = 0; i < sound.size() && fake.texts<Settled>().empty(); i += 160, heard += 160)
                fake.session.handle(
                    Sound{1, {sound.begin() + qsizetype(i), sound.begin() + qsizetype(i + 160)}});
        }
        const auto settled = std::find_if(fake.answers.begin(), fake.answers.end(), [](const Answer &answer) {
            return std::holds_alternative<Settled>(answer);
        });
        QVERIFY(settled != fake.answers.end());
        QCOMPARE(std::get<Settled>(*settled).position, std::uint64_t(heard - sampleRate / 5));
    }

    void aGapBetweenWordsSettlesNothing() {
        FakeSession fake;
        fake.open();
        fake.begin();
        fake.hear(FakeSpeech::word(1));
        fake.hear(FakeSpeech::silence(900));
        fake.hear(FakeSpeech::word(2));
        QVERIFY(fake.texts<Settled>().empty());
    }

    void theLongerItLastsTheShorterThePauseThatSettlesIt() {
        FakeSession fake;
        fake.open();
        fake.begin();
        fake.hear(FakeSpeech::words(1, 44)); // 11 s
        fake.hear(FakeSpeech::silence(550));
        QVERIFY(fake.texts<Settled>() == Texts{FakeSpeech::text(1, 44)});
    }

    void withoutAPauseAMinuteIsSettledBetweenTwoWords() {
        FakeSession fake;
        fake.open();
        fake.begin();
        fake.hear(FakeSpeech::words(1, 239)); // nearly a minute
        for (const auto &sound :
             {FakeSpeech::word(240, 500), FakeSpeech::silence(180), FakeSpeech::word(241)})
            fake.hear(sound);
        fake.session.handle(End{1});
        // The engine gives back the word that it is not sure of.
        QVERIFY(fake.texts<Settled>() == Texts{FakeSpeech::text(1, 239)});
        QVERIFY(fake.texts<Finished>() == Texts{"w240 w241"});
    }

    void withoutAMomentBetweenTwoWordsItIsSettledTenSecondsLater() {
        FakeSession fake;
        fake.open();
        fake.begin();
        fake.hear(FakeSpeech::words(1, 300)); // 75 s
        fake.session.handle(End{1});
        const auto settled = fake.texts<Settled>();
        QCOMPARE(settled.size(), 1U);
        const auto words = std::count(settled[0].begin(), settled[0].end(), 'w');
        QVERIFY2(words >= 280 && words <= 281, settled[0].c_str());
        // A word that lies across the cut is one of both parts.
        QVERIFY(fake.texts<Finished>()[0].ends_with(FakeSpeech::text(int(words) + 1, 300)));
    }

    void whatWouldTakeTooLongToDecodeIsSettledWithoutAPause() {
        FakeSession fake("3 full");
        fake.open();
        fake.begin();
        fake.hear(FakeSpeech::words(1, 4));
        fake.session.handle(End{1});
        QVERIFY(fake.texts<Settled>() == Texts{"w1 w2"});
        // Nothing of the word is lost that was not settled.
        QVERIFY(fake.texts<Finished>() == Texts{"w3 w4"});
    }

    void inALongSilenceSoundIsLetGoWithoutAText() {
        FakeSession fake;
        fake.open();
        fake.begin();
        fake.hear(FakeSpeech::silence(11000));
        QVERIFY((fake.texts<Settled>() == Texts{"", ""}));
    }

    void aProcessThatTakesOverWhereTextWasSettledLosesNothing() {
        auto sound = FakeSpeech::words(1, 5);
        for (const auto &part : {FakeSpeech::silence(1500), FakeSpeech::words(6, 9)})
            sound.insert(sound.end(), part.begin(), part.end());
        FakeSession first;
        first.open();
        first.begin();
        first.hear(sound);
        std::uint64_t position = 0;
        for (const auto &answer : first.answers) {
            if (const auto *settled = std::get_if<Settled>(&answer))
                position = settled->position;
        }
        QVERIFY(position > 0);
        FakeSession second;
        second.open();
        second.begin(position);
        second.hear({sound.begin() + qsizetype(position), sound.end()});
        second.session.handle(End{1});
        QVERIFY(first.texts<Settled>() == Texts{FakeSpeech::text(1, 5)});
        QVERIFY(second.texts<Finished>() == Texts{FakeSpeech::text(6, 9)});
    }

    void aCancelledDictationHasNoFinalText() {
        FakeSession fake;
        fake.open();
        fake.begin();
        fake.hear(FakeSpeech::words(1, 2));
        fake.session.handle(Cancel{1});
        QVERIFY(fake.texts<Finished>().empty());
        fake.begin();
        fake.hear(FakeSpeech::words(3, 3));
        fake.session.handle(End{1});
        QVERIFY(fake.texts<Finished>() == Texts{"w3"});
    }

    void whatIsOutOfItsTurnIsRefused() {
        FakeSession fake;
        QVERIFY_THROWS_EXCEPTION(ProtocolError, fake.begin());
        QVERIFY_THROWS_EXCEPTION(ProtocolError, fake.session.handle(Try{}));
        fake.open();
        QVERIFY_THROWS_EXCEPTION(ProtocolError, fake.session.handle(Sound{1, {}}));
        QVERIFY_THROWS_EXCEPTION(ProtocolError, fake.session.handle(End{1}));
        fake.begin();
        QVERIFY_THROWS_EXCEPTION(ProtocolError, fake.begin());
        QVERIFY_THROWS_EXCEPTION(ProtocolError, fake.session.handle(Sound{0, {}}));
        QVERIFY_THROWS_EXCEPTION(ProtocolError, fake.session.handle(Sound{2, {}}));
        QVERIFY_THROWS_EXCEPTION(ProtocolError, fake.session.handle(Cancel{2}));
        QVERIFY_THROWS_EXCEPTION(ProtocolError, fake.session.handle(Try{}));
    }

    void aTrialTellsHowFastTheModelIs() {
        FakeSession fake;
        fake.open();
        fake.session.handle(Try{});
        QVERIFY(fake.answers.back() == Answer(Tried{1400}));
        fake.begin();
        fake.hear(FakeSpeech::words(1, 2));
        fake.session.handle(End{1});
        QCOMPARE(fake.texts<Finished>(), Texts{FakeSpeech::text(1, 2)});
    }

    void aTrialLeavesOutWhatOthersTakeOfTheMachine() {
        // Whoever sleeps leaves the machine to others.
        const auto took =
            Session::ownTime([] { std::this_thread::sleep_for(std::chrono::milliseconds(300)); });
        QVERIFY(took < std::chrono::milliseconds(200));
    }

    void anErrorOfTheEngineGoesOn() {
        FakeSession fake("2 error");
        fake.open();
        fake.begin();
        QVERIFY_THROWS_EXCEPTION(std::runtime_error, fake.hear(FakeSpeech::words(1, 2)));
    }
};

QTEST_APPLESS_MAIN(SessionTest)
#include "SessionTest.moc"
