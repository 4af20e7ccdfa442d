#include "platform/linux/translation/apertium/ApertiumEngine.h"

#include "fakes/FakePlatform.h"
#include "platform/linux/translation/apertium/ApertiumPipeline.h"
#include "support/ChildProcess.h"
#include "support/Outcome.h"
#include "support/ProcessTree.h"
#include "support/Sessions.h"

#include <QFile>
#include <QTemporaryDir>
#include <QTest>

#include <algorithm>
#include <csignal>

using namespace Qt::StringLiterals;
using namespace quillora::test;
using namespace std::chrono_literals;
using quillora::platform::ApertiumEngine;
using quillora::platform::ApertiumPipeline;
using quillora::platform::TranslationSession;

namespace {

using Session = std::shared_ptr<TranslationSession>;
using Translation = std::shared_ptr<Outcome<QString>>;

QCoro::Task<QString> translatedUnprepared(Session session, QString text) {
    const auto response = co_await session->translate(text);
    co_return response.targetText;
}

const QString translateAndStay = u"--translate-and-stay"_s;

int translateAndStayUntilKilled() {
    FakePlatform platform;
    ApertiumEngine engine(platform.queue);
    const auto translation =
        Outcome<QString>::of(translatedUnprepared(engine.session(u"en"_s, u"es"_s), u"the house"_s));
    ChildProcess::waitUntil([&] {
        platform.run();
        return translation->isDone();
    });
    QTextStream(stdout) << translation->value() << Qt::endl;
    return QCoreApplication::exec();
}

const QString stopped = u"The on-device translation from English to Spanish has stopped unexpectedly."_s;
const QString overdue = u"The on-device translation from English to Spanish did not answer in time."_s;

} // namespace

/// Translation by the installed pairs, what becomes of a text in it, and of the processes.
class ApertiumEngineTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void aPairThatIsNotInstalledIsNotServed();
    void aPairInstalledMeanwhileIsFound();
    void aPairIsTranslatedThroughAThirdLanguage();

    void recognizedSpeechIsTranslatedAsItIsWritten_data();
    void recognizedSpeechIsTranslatedAsItIsWritten();
    void anUnknownWordPassesUnmarked();
    void specialCharactersSurvive_data();
    void specialCharactersSurvive();
    void theLayoutIsKept_data();
    void theLayoutIsKept();
    void aTextWithoutWordsStartsNothing_data();
    void aTextWithoutWordsStartsNothing();
    void aHundredKilobytesAreTranslatedWhole();
    void aHundredKilobytesInOneWordComeBack();
    void translationsAtTheSameTimeKeepApart();

    void textNeverReachesAProcessArgument();
    void aPipelineServesManyTranslations();
    void preparingStartsThePipeline();
    void whatMayBeTranslatedSoonIsStarted();
    void whatMayBeTranslatedSoonIsKept();
    void nothingIsStartedForAPairThatIsNotInstalled();
    void anIdlePipelineEnds();
    void aPipelineInUseDoesNotEnd();
    void aTranslationAfterTheIdleEndStartsAFreshPipeline();
    void aStageKilledBetweenTranslationsIsReplaced_data();
    void aStageKilledBetweenTranslationsIsReplaced();
    void aStageKilledDuringATranslationFailsIt_data();
    void aStageKilledDuringATranslationFailsIt();
    void aHangingStageFailsTheTranslationInTime_data();
    void aHangingStageFailsTheTranslationInTime();
    void afterAFailureTheNextTranslationWorks();
    void aPairThatCannotBeStartedFails();
    void anEmptyAnswerFails();
    void anUnreadableAnswerFails();
    void destroyingTheEngineEndsEveryProcess();
    void destroyingTheEngineEndsAHangingStage();
    void destroyingTheEngineEndsAStageThatRefuses();
    void noStageOutlivesAProgramThatIsKilled();
    void destroyingTheEngineFailsATranslationUnderWay();
    void aSessionThatOutlivesItsEngineFails();

private:
    static constexpr auto stageCount = 13;

    Session session(const QString &source = u"en"_s, const QString &target = u"es"_s);
    Translation begin(const QString &text) {
        return Outcome<QString>::of(translatedUnprepared(session(), text));
    }
    Translation finish(const Translation &outcome);
    Translation translate(const QString &text) { return finish(begin(text)); }
    bool waitUntil(const std::function<bool()> &condition);

    void useModes(const std::map<QString, QByteArray> &modes);
    void installMode(const QString &name, const QByteArray &pipeline);
    static void addStages();
    static QList<ProcessTree::Process> stages();

    std::unique_ptr<QTemporaryDir> m_modes;
    std::unique_ptr<FakePlatform> m_platform;
    std::unique_ptr<ApertiumEngine> m_engine;
};

void ApertiumEngineTest::init() {
    m_platform = std::make_unique<FakePlatform>();
    m_engine = std::make_unique<ApertiumEngine>(m_platform->queue);
}

void ApertiumEngineTest::cleanup() {
    m_engine.reset();
    m_platform->run(); // lets those who wait hear of it
    m_platform.reset();
    QVERIFY(ProcessTree::descendants().isEmpty());
}

bool ApertiumEngineTest::waitUntil(const std::function<bool()> &condition) {
    return ChildProcess::waitUntil([&] {
        m_platform->run();
        return condition();
    });
}

Session ApertiumEngineTest::session(const QString &source, const QString &target) {
    return m_engine->session(source, target);
}

Translation ApertiumEngineTest::finish(const Translation &outcome) {
    waitUntil([&] { return outcome->isDone(); });
    return outcome;
}

void ApertiumEngineTest::installMode(const QString &name, const QByteArray &pipeline) {
    QFile file(m_modes->filePath(name + u".mode"_s));
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(pipeline);
}

void ApertiumEngineTest::useModes(const std::map<QString, QByteArray> &modes) {
    m_modes = std::make_unique<QTemporaryDir>();
    for (const auto &[name, pipeline] : modes)
        installMode(name, pipeline);
    m_engine = std::make_unique<ApertiumEngine>(m_platform->queue, m_modes->path());
}

/// The processes of the pipeline but the shell that started them.
QList<ProcessTree::Process> ApertiumEngineTest::stages() {
    auto processes = ProcessTree::descendants();
    erase_if(processes, [](const auto &process) { return process.commandLine.contains("trap"); });
    return processes;
}

void ApertiumEngineTest::addStages() {
    QTest::addColumn<int>("stage");
    QTest::newRow("first") << 0;
    QTest::newRow("middle") << stageCount / 2;
    QTest::newRow("last") << stageCount - 1;
}

void ApertiumEngineTest::aPairThatIsNotInstalledIsNotServed() {
    QVERIFY(!session(u"en"_s, u"ru"_s));
    QVERIFY(!session(u"ja"_s, u"zh"_s));
}

void ApertiumEngineTest::aPairInstalledMeanwhileIsFound() {
    useModes({});
    QVERIFY(!session());
    installMode(u"eng-spa"_s, "sed -u 's/house/casa/'");
    QCOMPARE(translate(u"house"_s)->value(), u"casa"_s);
}

void ApertiumEngineTest::aPairIsTranslatedThroughAThirdLanguage() {
    useModes({{u"eng-spa"_s, "sed -u 's/house/casa/'"}, {u"spa-fra"_s, "sed -u 's/casa/maison/'"}});
    const auto outcome =
        finish(Outcome<QString>::of(translatedUnprepared(session(u"en"_s, u"fr"_s), u"a house\n"_s)));
    QCOMPARE(outcome->error(), QString());
    QCOMPARE(outcome->value(), u"a maison\n"_s);
}

void ApertiumEngineTest::recognizedSpeechIsTranslatedAsItIsWritten_data() {
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("translation");
    QTest::newRow("no final stop") << u"the house is big"_s << u"la casa es grande"_s;
    QTest::newRow("a small pronoun") << u"i want to send this message to my friend tomorrow"_s
                                     << u"quiero enviar este mensaje a mi amigo mañana"_s;
    QTest::newRow("written text") << u"The house is big."_s << u"La casa es grande."_s;
    QTest::newRow("a question") << u"Is the house big?"_s << u"Es la casa grande?"_s;
}

void ApertiumEngineTest::recognizedSpeechIsTranslatedAsItIsWritten() {
    QFETCH(const QString, text);
    QFETCH(const QString, translation);
    QCOMPARE(translate(text)->value(), translation);
}

void ApertiumEngineTest::anUnknownWordPassesUnmarked() {
    QCOMPARE(translate(u"My cat is blorptastic."_s)->value(), u"Mi gato es blorptastic."_s);
}

void ApertiumEngineTest::specialCharactersSurvive_data() {
    QTest::addColumn<QString>("special");
    for (const char16_t character : std::u16string_view(u"[]^$/<>@{}\\~*#&|%_+=\"`"))
        QTest::newRow(QString(QChar(character)).toUtf8()) << QString(QChar(character));
    QTest::newRow("emoji") << u"\U0001F600"_s;
    QTest::newRow("joined emoji") << u"\U0001F468\u200d\U0001F469\u200d\U0001F467"_s;
    QTest::newRow("heart") << u"\u2764\ufe0f"_s;
    QTest::newRow("Chinese") << u"\u4e2d\u6587"_s;
    QTest::newRow("escape") << u"\u001b"_s;
    QTest::newRow("the end mark") << u".[][\u2003]"_s;
}

void ApertiumEngineTest::specialCharactersSurvive() {
    QFETCH(const QString, special);
    for (const QString &text : {u"The house %1 is big."_s, u"%1 the house"_s, u"the house %1"_s}) {
        const auto outcome = translate(text.arg(special));
        QCOMPARE(outcome->error(), QString());
        QCOMPARE(outcome->value().count(special), 1);
        QVERIFY(outcome->value().contains(u"casa"_s));
    }
}

void ApertiumEngineTest::theLayoutIsKept_data() {
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("translation");
    QTest::newRow("lines") << u"the house\nthe cat\r\n\r\nthe dog\n"_s
                           << u"la casa\nel gato\r\n\r\nel perro\n"_s;
    QTest::newRow("space around") << u"  \tthe house \t"_s << u"  \tla casa \t"_s;
    QTest::newRow("NUL") << u"the house"_s + QChar() + u"the cat"_s << u"la casa"_s + QChar() + u"el gato"_s;
    QTest::newRow("lines without words") << u"---\nthe house\n***\n"_s << u"---\nla casa\n***\n"_s;
}

void ApertiumEngineTest::theLayoutIsKept() {
    QFETCH(const QString, text);
    QFETCH(const QString, translation);
    QCOMPARE(translate(text)->value(), translation);
}

void ApertiumEngineTest::aTextWithoutWordsStartsNothing_data() {
    QTest::addColumn<QString>("text");
    QTest::newRow("empty") << QString();
    QTest::newRow("blank") << u" \n\t "_s;
    QTest::newRow("punctuation") << u"... ?!"_s;
}

void ApertiumEngineTest::aTextWithoutWordsStartsNothing() {
    QFETCH(const QString, text);
    const auto outcome = translate(text);
    QVERIFY(outcome->isDone());
    QCOMPARE(outcome->error(), QString());
    QCOMPARE(outcome->value(), text);
    QVERIFY(ProcessTree::descendants().isEmpty());
}

void ApertiumEngineTest::aHundredKilobytesAreTranslatedWhole() {
    constexpr int count = 6000;
    QCOMPARE(translate(u"The house is big. "_s.repeated(count))->value(),
             u"La casa es grande. "_s.repeated(count));
}

void ApertiumEngineTest::aHundredKilobytesInOneWordComeBack() {
    const QString word(100'000, u'x');
    QCOMPARE(translate(u"the house "_s + word)->value(), u"la casa "_s + word);
}

void ApertiumEngineTest::translationsAtTheSameTimeKeepApart() {
    const auto one = begin(u"the house"_s);
    const auto other = begin(u"the cat\nthe dog"_s);
    QCOMPARE(finish(other)->value(), u"el gato\nel perro"_s);
    QCOMPARE(finish(one)->value(), u"la casa"_s);
}

void ApertiumEngineTest::textNeverReachesAProcessArgument() {
    QCOMPARE(translate(u"the xylophagous house"_s)->error(), QString());
    const auto processes = ProcessTree::descendants();
    QVERIFY(!processes.isEmpty());
    for (const auto &process : processes)
        QVERIFY(!process.commandLine.contains("xylophagous"));
}

void ApertiumEngineTest::aPipelineServesManyTranslations() {
    translate(u"the house"_s);
    const auto before = stages();
    translate(u"the cat"_s);
    const auto after = stages();
    QCOMPARE(before.size(), stageCount);
    QCOMPARE(after.size(), stageCount);
    QCOMPARE(after.first().id, before.first().id);
}

void ApertiumEngineTest::preparingStartsThePipeline() {
    QCOMPARE(finish(Outcome<QString>::of(prepared(session())))->error(), QString());
    QCOMPARE(stages().size(), stageCount);
}

void ApertiumEngineTest::whatMayBeTranslatedSoonIsStarted() {
    m_engine->warm(u"en"_s, u"es"_s);
    QVERIFY(waitUntil([] { return stages().size() == stageCount; }));
    const auto id = stages().first().id;
    QCOMPARE(translate(u"the house"_s)->value(), u"la casa"_s);
    QCOMPARE(stages().first().id, id);
}

void ApertiumEngineTest::whatMayBeTranslatedSoonIsKept() {
    translate(u"the house"_s);
    const auto id = stages().first().id;
    m_platform->queue.advance(ApertiumPipeline::idleTime - 1ms);
    m_engine->warm(u"en"_s, u"es"_s);
    m_platform->queue.advance(1ms);
    QCOMPARE(translate(u"the cat"_s)->value(), u"el gato"_s);
    QCOMPARE(stages().first().id, id);
}

void ApertiumEngineTest::nothingIsStartedForAPairThatIsNotInstalled() {
    m_engine->warm(u"en"_s, u"ru"_s);
    QVERIFY(ProcessTree::descendants().isEmpty());
}

void ApertiumEngineTest::anIdlePipelineEnds() {
    translate(u"the house"_s);
    m_platform->queue.advance(ApertiumPipeline::idleTime - 1ms);
    QCOMPARE(stages().size(), stageCount);
    m_platform->queue.advance(1ms);
    QVERIFY(waitUntil([] { return ProcessTree::descendants().isEmpty(); }));
}

void ApertiumEngineTest::aPipelineInUseDoesNotEnd() {
    translate(u"the house"_s);
    const auto id = stages().first().id;
    m_platform->queue.advance(ApertiumPipeline::idleTime - 1ms);
    translate(u"the cat"_s);
    m_platform->queue.advance(ApertiumPipeline::idleTime - 1ms);
    QCOMPARE(stages().first().id, id);
}

void ApertiumEngineTest::aTranslationAfterTheIdleEndStartsAFreshPipeline() {
    translate(u"the house"_s);
    m_platform->queue.advance(ApertiumPipeline::idleTime);
    QCOMPARE(translate(u"the cat"_s)->value(), u"el gato"_s);
}

void ApertiumEngineTest::aStageKilledBetweenTranslationsIsReplaced_data() { addStages(); }

void ApertiumEngineTest::aStageKilledBetweenTranslationsIsReplaced() {
    QFETCH(const int, stage);
    translate(u"the house"_s);
    const auto killed = stages().at(stage).id;
    ::kill(static_cast<pid_t>(killed), SIGKILL);
    QVERIFY(waitUntil([] { return ProcessTree::descendants().isEmpty(); }));
    QCOMPARE(translate(u"the cat"_s)->value(), u"el gato"_s);
}

void ApertiumEngineTest::aStageKilledDuringATranslationFailsIt_data() { addStages(); }

void ApertiumEngineTest::aStageKilledDuringATranslationFailsIt() {
    QFETCH(const int, stage);
    translate(u"the house"_s);
    const auto id = static_cast<pid_t>(stages().at(stage).id);
    ::kill(id, SIGSTOP);
    const auto outcome = begin(u"the cat"_s);
    ::kill(id, SIGKILL);
    QCOMPARE(finish(outcome)->error(), stopped);
    QVERIFY(waitUntil([] { return ProcessTree::descendants().isEmpty(); }));
    QCOMPARE(translate(u"the cat"_s)->value(), u"el gato"_s);
}

void ApertiumEngineTest::aHangingStageFailsTheTranslationInTime_data() { addStages(); }

void ApertiumEngineTest::aHangingStageFailsTheTranslationInTime() {
    QFETCH(const int, stage);
    translate(u"the house"_s);
    ::kill(static_cast<pid_t>(stages().at(stage).id), SIGSTOP);
    const auto outcome = begin(u"the cat"_s);
    m_platform->queue.advance(ApertiumPipeline::answerTime - 1ms);
    QVERIFY(!outcome->isDone());
    m_platform->queue.advance(1ms);
    QCOMPARE(finish(outcome)->error(), overdue);
    QVERIFY(waitUntil([] { return ProcessTree::descendants().isEmpty(); }));
}

void ApertiumEngineTest::afterAFailureTheNextTranslationWorks() {
    translate(u"the house"_s);
    ::kill(static_cast<pid_t>(stages().first().id), SIGSTOP);
    const auto outcome = begin(u"the cat"_s);
    m_platform->queue.advance(ApertiumPipeline::answerTime);
    QCOMPARE(finish(outcome)->error(), overdue);
    QCOMPARE(translate(u"the cat"_s)->value(), u"el gato"_s);
}

void ApertiumEngineTest::aPairThatCannotBeStartedFails() {
    useModes({{u"eng-spa"_s, "'a-program-that-nobody-has'"}});
    QCOMPARE(translate(u"house"_s)->error(), stopped);
    QCOMPARE(finish(Outcome<QString>::of(prepared(session())))->error(), stopped);
}

void ApertiumEngineTest::anEmptyAnswerFails() {
    useModes({{u"eng-spa"_s, "sed -u 's/.*/.[][\\n]/'"}});
    QCOMPARE(translate(u"house"_s)->error(),
             u"The on-device translation from English to Spanish gave no result."_s);
}

void ApertiumEngineTest::anUnreadableAnswerFails() {
    useModes({{u"eng-spa"_s, "sed -u 's/.*/casa/'"}});
    QCOMPARE(translate(u"house"_s)->error(),
             u"The on-device translation from English to Spanish gave a result that cannot be read."_s);
}

void ApertiumEngineTest::destroyingTheEngineEndsEveryProcess() {
    translate(u"the house"_s);
    QVERIFY(!ProcessTree::descendants().isEmpty());
    m_engine.reset();
    QVERIFY(ProcessTree::descendants().isEmpty());
}

void ApertiumEngineTest::destroyingTheEngineEndsAHangingStage() {
    translate(u"the house"_s);
    ::kill(static_cast<pid_t>(stages().first().id), SIGSTOP);
    begin(u"the cat"_s);
    m_engine.reset();
    QVERIFY(ProcessTree::descendants().isEmpty());
}

void ApertiumEngineTest::destroyingTheEngineEndsAStageThatRefuses() {
    useModes({});
    const QString program = m_modes->filePath(u"refusing"_s);
    QFile file(program);
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write("#!/bin/sh\ntrap '' TERM\nsleep 1000\n");
    file.close();
    QVERIFY(file.setPermissions(QFile::ReadOwner | QFile::ExeOwner));
    installMode(u"eng-spa"_s, "'" + program.toUtf8() + "'");
    begin(u"house"_s);
    QVERIFY(waitUntil([] { return stages().size() == 2; })); // the program and its sleep
    const auto processes = stages();
    m_engine.reset();
    QVERIFY(
        waitUntil([&] { return std::none_of(processes.begin(), processes.end(), ProcessTree::isRunning); }));
}

/// Runs this program again, as one that translates and is killed in the middle of its life.
void ApertiumEngineTest::noStageOutlivesAProgramThatIsKilled() {
    ChildProcess program(QCoreApplication::applicationFilePath(), {translateAndStay});
    QVERIFY(waitUntil([&] { return program.process().canReadLine(); }));
    QCOMPARE(program.process().readLine(), "la casa\n");
    const auto processes = stages();
    QVERIFY(processes.size() > stageCount);
    ::kill(static_cast<pid_t>(program.processId()), SIGKILL);
    QVERIFY(waitUntil([&] {
        return std::none_of(processes.begin(), processes.end(),
                            [](const auto &process) { return ProcessTree::isRunning(process); });
    }));
}

void ApertiumEngineTest::destroyingTheEngineFailsATranslationUnderWay() {
    const auto outcome = begin(u"the house"_s);
    m_engine.reset();
    QVERIFY(!outcome->isDone());
    QCOMPARE(finish(outcome)->error(), u"The on-device translation from English to Spanish was ended."_s);
}

void ApertiumEngineTest::aSessionThatOutlivesItsEngineFails() {
    const Session orphan = session();
    m_engine.reset();
    QCOMPARE(finish(Outcome<QString>::of(translatedUnprepared(orphan, u"the house"_s)))->error(),
             u"The on-device translation from English to Spanish was ended."_s);
}

int main(int argc, char **argv) {
    QCoreApplication application(argc, argv);
    if (application.arguments().contains(translateAndStay))
        return translateAndStayUntilKilled();
    ApertiumEngineTest test;
    return QTest::qExec(&test, argc, argv);
}

#include "ApertiumEngineTest.moc"
