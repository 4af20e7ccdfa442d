#include "support/Daemon.h"

#include <QTest>

#include <csignal>
#include <stdexcept>
#include <sys/wait.h>

using namespace Qt::StringLiterals;

using quillora::test::ChildProcess;
using quillora::test::Daemon;

namespace {

const QString runTestsThatFail = u"run-tests-that-fail"_s;
const QStringList endingAtOnce{u"-c"_s, u"echo nobody answers >&2; exit 7"_s};
const QStringList staying{u"-c"_s, u"while :; do sleep 0.1; done"_s};

} // namespace

/// Tests that lose a daemon which they need; each is run in a process of its own.
class TestsThatFail : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void itDiesBeforeItIsReady() {
        Daemon daemon(u"sh"_s, endingAtOnce);
        try {
            daemon.waitUntilReady([] { return false; });
        } catch (const std::runtime_error &error) {
            qInfo("%s", error.what());
        }
    }

    void itDiesDuringAWait() {
        const Daemon daemon(u"sh"_s, endingAtOnce);
        ChildProcess::waitUntil([] { return false; }, longerThanTheOtherTestWaitsMs);
    }

    void itDiesWhileNobodyWaits() {
        Daemon daemon(u"sh"_s, endingAtOnce);
        ::siginfo_t end{};
        ::waitid(P_PID, static_cast<id_t>(daemon.processId()), &end, WEXITED | WNOWAIT);
    }

private:
    static constexpr int longerThanTheOtherTestWaitsMs = 60000;
};

class DaemonTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void oneThatDiesFailsTheTestAtOnceByItsName_data() {
        QTest::addColumn<QString>("test");
        QTest::newRow("before it is ready") << u"itDiesBeforeItIsReady"_s;
        QTest::newRow("during a wait") << u"itDiesDuringAWait"_s;
        QTest::newRow("while nobody waits") << u"itDiesWhileNobodyWaits"_s;
    }
    void oneThatDiesFailsTheTestAtOnceByItsName() {
        QFETCH(QString, test);
        ChildProcess program(QCoreApplication::applicationFilePath(), {runTestsThatFail, test});
        QVERIFY(ChildProcess::waitUntil([&] { return !program.isRunning(); }));
        QCOMPARE(program.process().exitStatus(), QProcess::NormalExit);
        QCOMPARE(program.process().exitCode(), 1);
        const auto output = program.process().readAllStandardOutput();
        const QByteArray ended = "FAIL!  : TestsThatFail::" + test.toUtf8() +
                                 "() sh -c echo nobody answers >&2; exit 7 ended by itself, with status 7. "
                                 "Its last words:\nnobody answers\n";
        QVERIFY2(output.contains(ended), output);
    }

    void oneThatDiesBeforeItIsReadyIsNotWaitedFor() {
        ChildProcess program(QCoreApplication::applicationFilePath(),
                             {runTestsThatFail, u"itDiesBeforeItIsReady"_s});
        QVERIFY(ChildProcess::waitUntil([&] { return !program.isRunning(); }));
        QVERIFY(program.process().readAllStandardOutput().contains(
            "not ready: sh -c echo nobody answers >&2; exit 7"));
    }

    void oneThatTheTestEndsIsNoFailure() {
        Daemon asked(u"sh"_s, staying);
        asked.stop();
        Daemon killed(u"sh"_s, staying);
        killed.signal(SIGKILL);
        QVERIFY(ChildProcess::waitUntil([&] { return !killed.isRunning(); }));
        QVERIFY(!Daemon::hasOneDied());
    }

    void oneThatWasFrozenIsStillNeeded() {
        Daemon daemon(u"sh"_s, staying);
        daemon.signal(SIGSTOP);
        daemon.signal(SIGCONT);
        QVERIFY(daemon.isRunning());
        QVERIFY(!Daemon::hasOneDied());
    }

    void itIsReadyWhenItSaysSo() {
        Daemon daemon(u"sh"_s, {u"-c"_s, u"echo ready; while :; do sleep 0.1; done"_s});
        daemon.waitUntilReady([&] { return daemon.process().canReadLine(); });
        QCOMPARE(daemon.process().readLine(), "ready\n");
    }
};

int main(int argc, char **argv) {
    const QCoreApplication application(argc, argv);
    auto arguments = QCoreApplication::arguments();
    if (arguments.removeOne(runTestsThatFail)) {
        TestsThatFail tests;
        return QTest::qExec(&tests, arguments);
    }
    DaemonTest test;
    return QTest::qExec(&test, argc, argv);
}
#include "DaemonTest.moc"
