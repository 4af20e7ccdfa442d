#include "platform/linux/recognition/RecognizerProcess.h"
#include "recognizer/FakeEngine.h"
#include "support/ChildProcess.h"
#include "support/Recording.h"

#include <QDir>
#include <QTest>

#include <csignal>
#include <fstream>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/ptrace.h>
#include <sys/socket.h>
#include <sys/wait.h>

using namespace Qt::StringLiterals;
using namespace quillora;
using namespace recognizer;
using platform::RecognizerProcess;
using test::Recording;
namespace FakeSpeech = test::FakeSpeech;

namespace {

const std::string modelFolder = "/usr/share/pocketsphinx/model/en-us/";
const Open pocketSphinx{
    protocolVersion,
    "pocketsphinx",
    {modelFolder + "en-us", modelFolder + "en-us.lm.bin", modelFolder + "cmudict-en-us.dict"}};

/// The next answer; throws where the process has gone.
Answer answerOf(RecognizerProcess &process) {
    const auto message = process.channel().receive();
    if (!message)
        throw std::runtime_error("the process is gone");
    return decodeAnswer(*message);
}

std::string finalTextOf(RecognizerProcess &process) {
    for (;;) {
        const auto answer = answerOf(process);
        if (const auto *finished = std::get_if<Finished>(&answer))
            return finished->text;
    }
}

bool isGone(RecognizerProcess &process) {
    while (process.channel().receive()) {
    }
    return true;
}

/// Keeps a process from being collected by its parent.
class Tracer {
public:
    explicit Tracer(pid_t id) {
        auto [here, there] = Channel::pair();
        m_tracer = ::fork();
        if (m_tracer == 0) {
            ::prctl(PR_SET_PDEATHSIG, SIGKILL);
            const bool isTracing = ::ptrace(PTRACE_SEIZE, id, nullptr, nullptr) == 0;
            there.send(encode(Begin{isTracing, 0}));
            ::pause();
            ::_exit(EXIT_SUCCESS);
        }
        there = Channel();
        m_isTracing = std::get<Begin>(decodeCommand(*here.receive())).dictation != 0;
    }
    ~Tracer() { end(); }
    Tracer(const Tracer &) = delete;
    Tracer &operator=(const Tracer &) = delete;

    bool isTracing() const { return m_isTracing; }
    void end() {
        if (m_tracer > 0 && ::kill(m_tracer, SIGKILL) == 0)
            ::waitpid(std::exchange(m_tracer, -1), nullptr, 0);
    }

private:
    pid_t m_tracer = -1;
    bool m_isTracing = false;
};

} // namespace

/// The recognizer's process by itself, in the place of the program.
class RecognizerProcessTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void aSentenceIsRecognized() {
        RecognizerProcess process(QUILLORA_RECOGNIZER);
        say(process, pocketSphinx);
        QVERIFY(std::holds_alternative<Ready>(answerOf(process)));
        say(process, Begin{1, 0});
        const auto sound = Recording::of(QStringLiteral("he was not an ill disposed young man")).sound();
        for (std::size_t begin = 0; begin < sound.samples.size(); begin += 341) {
            const auto end = std::min(begin + 341, sound.samples.size());
            say(process,
                Sound{1, {sound.samples.begin() + qsizetype(begin), sound.samples.begin() + qsizetype(end)}});
        }
        say(process, End{1});
        const auto text = finalTextOf(process);
        QVERIFY2(text.starts_with("he was not"), text.c_str());
    }

    void theInstalledRecognizerHasNoFakeEngine() {
        RecognizerProcess process(QUILLORA_RECOGNIZER);
        say(process, Open{protocolVersion, "fake", {}});
        QVERIFY(answerOf(process) == Answer(Refused{Refusal::incompatible}));
    }

    void filesThatAreNotThereAreMissing() {
        RecognizerProcess process(QUILLORA_RECOGNIZER);
        say(process, Open{protocolVersion, "pocketsphinx", {"/nonexistent", "/", "/"}});
        QVERIFY(answerOf(process) == Answer(Refused{Refusal::missing}));
    }

    void itEndsWithTheSocket() {
        auto process = fake();
        ::shutdown(process->channel().descriptor(), SHUT_RDWR);
        QCOMPARE(process->collect(), 0);
    }

    void garbageEndsIt_data() {
        QTest::addColumn<QByteArray>("garbage");
        QTest::newRow("an unknown kind") << QByteArray("\xff");
        QTest::newRow("a message that is cut short") << QByteArray("\x01", 1);
        QTest::newRow("a message out of its turn") << QByteArray("\x03\x01\x00\x00\x00", 5);
        QTest::newRow("a message that is too long") << QByteArray(largestMessage + 1, '\x02');
    }
    void garbageEndsIt() {
        QFETCH(QByteArray, garbage);
        auto process = fake();
        QVERIFY(::send(process->channel().descriptor(), garbage.data(), size_t(garbage.size()), 0) > 0);
        QVERIFY(isGone(*process));
        QCOMPARE(process->collect(), EXIT_FAILURE);
    }

    void whateverTheEngineDoesIsNoticed_data() {
        QTest::addColumn<QString>("fault");
        QTest::addColumn<int>("status");
        QTest::newRow("an error") << u"error"_s << EXIT_FAILURE;
        QTest::newRow("an exit") << u"exit"_s << EXIT_SUCCESS;
        QTest::newRow("a crash") << u"crash"_s << -SIGSEGV;
        QTest::newRow("no memory") << u"memory"_s << noMemoryStatus;
        QTest::newRow("a kill from outside") << u"kill"_s << -SIGKILL;
    }
    void whateverTheEngineDoesIsNoticed() {
        QFETCH(QString, fault);
        QFETCH(int, status);
        auto process = fake("3 " + fault.toStdString());
        say(*process, Begin{1, 0});
        say(*process, Sound{1, FakeSpeech::words(1, 3)});
        QVERIFY(isGone(*process));
        QCOMPARE(process->collect(), status);
    }

    void oneThatHangsIsEndedAtOnce() {
        const pid_t id = [this] {
            auto process = fake("1 hang");
            say(*process, Begin{1, 0});
            say(*process, Sound{1, FakeSpeech::words(1, 1)});
            return process->id();
        }();
        QCOMPARE(::kill(id, 0), -1); // collected, too
    }

    void oneThatCannotBeCollectedAtOnceIsCollectedLater() {
        auto process = std::make_unique<RecognizerProcess>("/usr/bin/yes");
        const pid_t id = process->id();
        Tracer tracer(id);
        if (!tracer.isTracing())
            QSKIP("this user may not trace a process that is not his child");
        process.reset();
        QCOMPARE(::kill(id, 0), 0); // dead, and its tracer's for as long as that lives
        tracer.end();
        QTRY_VERIFY(::kill(id, 0) != 0);
    }

    void nothingIsInheritedButTheSocket() {
        const int stray = ::dup(0);
        auto process = fake();
        const auto descriptors =
            QDir(u"/proc/%1/fd"_s.arg(process->id())).entryList(QDir::AllEntries | QDir::System, QDir::Name);
        ::close(stray);
        const auto found = descriptors.filter(QRegularExpression(u"^\\d"_s));
        if (found.isEmpty() && ::geteuid() != 0)
            QSKIP("only root may look at what a process that is not dumpable has open");
        QCOMPARE(found, (QStringList{u"0"_s, u"1"_s, u"2"_s, u"3"_s}));
    }

    void itEndsWithAProgramThatIsKilled_data() {
        QTest::addColumn<QString>("script");
        QTest::newRow("while it waits") << QString();
        QTest::newRow("while it loads") << u"load hang"_s;
    }
    void itEndsWithAProgramThatIsKilled() {
        QFETCH(QString, script);
        writeScript(script.toStdString());
        ::prctl(PR_SET_CHILD_SUBREAPER, 1);
        auto [here, there] = Channel::pair();
        const pid_t program = ::fork();
        if (program == 0) {
            RecognizerProcess process(QUILLORA_FAKE_RECOGNIZER);
            process.channel().send(encode(openFake()));
            there.send(encode(Begin{std::uint32_t(process.id()), 0}));
            ::pause();
        }
        const auto id = pid_t(std::get<Begin>(decodeCommand(*here.receive())).dictation);
        QCOMPARE(::kill(program, SIGKILL), 0);
        QCOMPARE(::waitpid(program, nullptr, 0), program);
        int status = 0;
        QVERIFY(test::ChildProcess::waitUntil([&] { return ::waitpid(id, &status, WNOHANG) == id; }, 30000));
        ::prctl(PR_SET_CHILD_SUBREAPER, 0);
    }

    void itCanDoNothingButItsWork() {
        RecognizerProcess process(QUILLORA_FAKE_RECOGNIZER);
        const auto [protections, done] = probe(process);
        QVERIFY2(protections == (systemCalls | files), "this kernel cannot confine a process");
        QCOMPARE(done, std::string());
    }

    void onAKernelThatCannotConfineItItWorksAndSaysSo() {
        RecognizerProcess process(QUILLORA_OLD_KERNEL);
        const auto [protections, done] = probe(process);
        QCOMPARE(protections, 0U);
        QVERIFY2(done.starts_with("network local-socket create write"), done.c_str());
        QVERIFY2(!done.ends_with("image"), done.c_str());
    }

    void aProgramThatIsNotThereIsAnError() {
        QVERIFY_THROWS_EXCEPTION(std::system_error, RecognizerProcess("/nonexistent"));
    }

private:
    static void say(RecognizerProcess &process, const Command &command) {
        process.channel().send(encode(command));
    }
    void writeScript(const std::string &script) const { std::ofstream(model()) << script; }
    std::string model() const { return m_folder.filePath(u"model"_s).toStdString(); }
    Open openFake() const { return {protocolVersion, "fake", {model()}}; }

    std::unique_ptr<RecognizerProcess> fake(const std::string &script = {}) const {
        writeScript(script);
        auto process = std::make_unique<RecognizerProcess>(QUILLORA_FAKE_RECOGNIZER);
        say(*process, openFake());
        if (!std::holds_alternative<Ready>(answerOf(*process)))
            throw std::runtime_error("the fake engine was not loaded");
        return process;
    }

    struct Probed {
        std::uint32_t protections;
        std::string done;
    };
    Probed probe(RecognizerProcess &process) const {
        writeScript({});
        QFile::copy(QString::fromStdString(model()), m_folder.filePath(u"file"_s));
        say(process, Open{protocolVersion, "probe", {m_folder.path().toStdString()}});
        const auto ready = std::get<Ready>(answerOf(process));
        say(process, Begin{1, 0});
        say(process, End{1});
        return {ready.protections, std::get<Finished>(answerOf(process)).text};
    }

    QTemporaryDir m_folder;
};

QTEST_GUILESS_MAIN(RecognizerProcessTest)
#include "RecognizerProcessTest.moc"
