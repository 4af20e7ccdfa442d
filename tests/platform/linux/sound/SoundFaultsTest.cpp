#include "platform/LocalizedError.h"
#include "platform/linux/sound/SoundProbe.h"
#include "support/OwnTime.h"
#include "support/SoundServer.h"

#include <QElapsedTimer>
#include <QTest>

#include <functional>

using namespace Qt::StringLiterals;
using namespace quillora;
using test::SoundProbe;
using test::SoundServer;

/// The sound server fails at every moment of a dictation; the next dictation works.
class SoundFaultsTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void init() {
        m_server = std::make_unique<SoundServer>();
        m_probe = std::make_unique<SoundProbe>(m_server->address());
        QVERIFY(m_probe->findMicrophone());
    }
    void cleanup() {
        m_probe.reset();
        m_server.reset();
    }

    void killedBeforeTheStart() {
        m_server->kill();
        QCOMPARE(startError(), u"The sound server cannot be reached."_s);
        QVERIFY(!m_probe->capture);
        m_server->restart();
        nextDictationWorks();
    }

    void killedWhileRecording() {
        record();
        m_server->kill();
        diesWithinASecond(u"The sound server went away."_s);
        m_probe->stop();
        QVERIFY(m_probe->waitForEnd());
        QVERIFY(m_probe->frames() >= 4800);
        m_server->restart();
        nextDictationWorks();
    }

    void killedWhileTheRestIsHandedOver() {
        record();
        m_server->pause();
        m_probe->stop();
        m_server->kill();
        QVERIFY(m_probe->waitForEnd());
        nothingWasTold();
        m_server->restart();
        nextDictationWorks();
    }

    void killedBeforeTheStopThatComesInTheSameTurn() {
        record();
        m_server->kill();
        QVERIFY(test::ChildProcess::waitUntil([this] { return !m_probe->queue.isIdle(); }));
        m_probe->stop();
        QVERIFY(m_probe->waitForEnd());
        nothingWasTold();
        m_server->restart();
        nextDictationWorks();
    }

    void restartedBetweenTwoDictations() {
        record();
        m_probe->stop();
        QVERIFY(m_probe->waitForEnd());
        m_server->kill();
        m_server->restart();
        nextDictationWorks();
    }

    void restartedWhileRecording() {
        record();
        m_server->kill();
        m_server->restart();
        m_probe->stop();
        QVERIFY(m_probe->waitForEnd());
        nextDictationWorks();
    }

    void hangingBeforeTheStart() {
        m_server->pause();
        const test::OwnTime timer;
        QCOMPARE(startError(), u"The sound server does not answer."_s);
        QVERIFY(timer.elapsed() < 3000);
        QVERIFY(!m_probe->capture);
        m_server->resume();
        nextDictationWorks();
        QTRY_COMPARE(m_server->recordingCount(), 0);
    }

    void hangingWhileRecording() {
        record();
        m_server->pause();
        m_probe->stop();
        QVERIFY(m_probe->waitForEnd());
        m_server->resume();
        nextDictationWorks();
    }

    void hangingWhileRecordingForLongerThanFiveSeconds() {
        record();
        m_server->pause();
        QElapsedTimer sinceHang;
        sinceHang.start();
        const auto elapsed = m_probe->waitForDeath();
        QCOMPARE(m_probe->deaths, QStringList{u"No sound has come from the microphone for 5 seconds."_s});
        qInfo("told after %lld ms", sinceHang.elapsed());
        QVERIFY2(sinceHang.elapsed() >= 4500, qPrintable(QString::number(sinceHang.elapsed())));
        QVERIFY2(elapsed <= 6000, qPrintable(QString::number(elapsed)));
        m_probe->stop();
        QVERIFY(m_probe->waitForEnd());
        QVERIFY(m_probe->frames() >= 4800);
        m_server->resume();
        nextDictationWorks();
    }

    void hangingWhileRecordingForTwoSeconds() {
        record();
        m_server->pause();
        QElapsedTimer hang; // the sound thread counts what the main one waits for its turn
        hang.start();
        test::ChildProcess::waitUntil([&] { return hang.elapsed() >= 2000; });
        m_server->resume();
        QVERIFY(m_probe->waitForFrames(m_probe->frames() + 48000));
        nothingWasTold();
        m_probe->stop();
        QVERIFY(m_probe->waitForEnd());
        nextDictationWorks();
    }

    void recordingGoesOnForLongerThanASilenceMayLast() {
        record();
        QVERIFY(test::ChildProcess::waitUntil([this] { return m_probe->frames() >= 48000 * 6; }, 30000));
        nothingWasTold();
    }

    void theMicrophoneIsUnpluggedBeforeTheStart() {
        m_server->unplugMicrophone();
        QCOMPARE(startError(), u"There is no microphone."_s);
        QVERIFY(!m_probe->capture);
        m_server->plugInMicrophone({48000, 2});
        nextDictationWorks();
    }

    void theMicrophoneIsUnpluggedWhileRecording() {
        record();
        m_server->unplugMicrophone();
        diesWithinASecond(u"The microphone was disconnected."_s);
        const auto frames = m_probe->frames();
        QVERIFY(frames >= 4800);
        m_server->plugInMicrophone({48000, 2});
        // Another microphone does not take its place.
        QCOMPARE(m_server->recordingCount(), 0);
        m_probe->stop();
        QVERIFY(m_probe->waitForEnd());
        nextDictationWorks();
    }

    void anotherFormatAfterTheMicrophoneWasChanged() {
        m_server->unplugMicrophone();
        m_server->plugInMicrophone({16000, 1});
        QVERIFY(m_probe->findMicrophone({16000, 1}));
        nextDictationWorks();
    }

    void aStartWithoutAServerFailsAtOnce() {
        const QTemporaryDir nowhere;
        SoundProbe probe("unix:" + nowhere.filePath(u"native"_s).toStdString());
        probe.refresh();
        QVERIFY_THROWS_EXCEPTION(LocalizedError, probe.start());
        QVERIFY(!probe.capture);
    }

private:
    QString startError() {
        try {
            m_probe->start();
        } catch (const LocalizedError &error) {
            return error.errorDescription();
        }
        return {};
    }
    void record() {
        m_probe->start();
        QVERIFY(m_probe->waitForFrames(4800));
    }
    void diesWithinASecond(const QString &reason) {
        const auto elapsed = m_probe->waitForDeath();
        QCOMPARE(m_probe->deaths, QStringList{reason});
        qInfo("told after %lld ms", elapsed);
        QVERIFY2(elapsed < 1000, qPrintable(QString::number(elapsed)));
    }
    void nothingWasTold() {
        m_probe->queue.run();
        QCOMPARE(m_probe->deaths, QStringList());
    }
    void nextDictationWorks() {
        m_probe->deaths.clear();
        QVERIFY(m_probe->findMicrophone());
        m_probe->start();
        QVERIFY(m_probe->waitForFrames(m_probe->format().sampleRate > 20000 ? 4800 : 1600));
        m_probe->stop();
        QVERIFY(m_probe->waitForEnd());
        QVERIFY(!m_probe->capture);
        nothingWasTold();
    }

    std::unique_ptr<SoundServer> m_server;
    std::unique_ptr<SoundProbe> m_probe;
};

QTEST_GUILESS_MAIN(SoundFaultsTest)
#include "SoundFaultsTest.moc"
