#include "platform/linux/sound/DistantServer.h"
#include "platform/linux/sound/SoundProbe.h"
#include "support/OwnTime.h"
#include "support/Recording.h"
#include "support/SoundServer.h"

#include <QElapsedTimer>
#include <QTest>

using namespace Qt::StringLiterals;
using namespace quillora;
using test::ChildProcess;
using test::DistantServer;
using test::SoundProbe;
using test::SoundServer;

/// What a recording hands over, from its first sample to its last.
class PulseCaptureTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void soundComesInFullBuffersButForTheLast_data() {
        QTest::addColumn<int>("rate");
        QTest::addColumn<int>("channels");
        QTest::newRow("telephone") << 8000 << 1;
        QTest::newRow("compact disc") << 44100 << 2;
        QTest::newRow("usual") << 48000 << 1;
        QTest::newRow("studio") << 96000 << 2;
        QTest::newRow("surround") << 48000 << 8;
        QTest::newRow("mixing desk") << 48000 << 18;
    }
    void soundComesInFullBuffersButForTheLast() {
        QFETCH(int, rate);
        QFETCH(int, channels);
        SoundServer server({rate, channels});
        SoundProbe probe(server.address());
        probe.record(5000);
        probe.stop();
        QVERIFY(probe.waitForEnd());
        const auto &buffers = probe.heard->buffers;
        for (size_t i = 0; i < buffers.size(); ++i) {
            QCOMPARE(buffers[i].format, probe.format());
            if (i + 1 < buffers.size())
                QCOMPARE(buffers[i].frameCount(), 1024);
        }
        QVERIFY(buffers.back().frameCount() <= 1024);
    }

    void everyChannelIsHeardWhereItIs_data() {
        QTest::addColumn<QString>("channelMap");
        QTest::newRow("stereo") << u"front-left,front-right"_s;
        QTest::newRow("two inputs of an interface") << u"aux0,aux1"_s;
        QTest::newRow("four inputs of an interface") << u"aux0,aux1,aux2,aux3"_s;
        QStringList inputs;
        for (int i = 0; i < 18; ++i)
            inputs << u"aux%1"_s.arg(i);
        QTest::newRow("eighteen inputs of an interface") << inputs.join(u',');
    }
    void everyChannelIsHeardWhereItIs() {
        QFETCH(QString, channelMap);
        const int channels = static_cast<int>(channelMap.count(u',')) + 1;
        SoundServer server({48000, channels, channelMap});
        SoundProbe probe(server.address());
        probe.record(1);
        // Each channel holds still at a level of its own.
        const QTemporaryDir folder;
        platform::AudioBuffer levels{{48000, static_cast<quint32>(channels)}, {}};
        for (int sample = 0; sample < 48000 * channels; ++sample)
            levels.samples.push_back(static_cast<qint16>(1000 * (sample % channels + 1)));
        test::writeWave(folder.filePath(u"levels.wav"_s), levels);
        const auto playing = server.play(folder.filePath(u"levels.wav"_s));
        std::vector<qint16> loudest;
        ChildProcess::waitUntil([&] {
            loudest = probe.loudestSamples();
            return loudest.back() >= 1000 * channels - 10;
        });
        for (int channel = 0; channel < channels; ++channel)
            QVERIFY2(std::abs(loudest[static_cast<size_t>(channel)] - 1000 * (channel + 1)) <= 10,
                     qPrintable(u"channel %1: %2"_s.arg(channel).arg(loudest[static_cast<size_t>(channel)])));
    }

    void aMicrophoneThatIsAnotherByTheStartIsHeardInItsOwnFormat() {
        SoundServer server({48000, 1, u"aux0"_s});
        SoundProbe probe(server.address());
        QVERIFY(probe.findMicrophone());
        server.unplugMicrophone();
        server.plugInMicrophone({44100, 2, u"aux0,aux1"_s});
        QVERIFY2(probe.findMicrophone({44100, 2}),
                 qPrintable(u"%1 Hz, %2 channels of\n%3"_s.arg(probe.format().sampleRate)
                                .arg(probe.format().channelCount)
                                .arg(QString::fromUtf8(server.sources()))));
        probe.record(2048);
        probe.stop();
        QVERIFY(probe.waitForEnd());
        QCOMPARE(probe.heard->buffers.front().format, (platform::AudioFormat{44100, 2}));
        QCOMPARE(probe.heard->buffers.front().frameCount(), 1024);
    }

    void allThatWasCapturedBeforeTheStopArrives() {
        // At this rate a buffer takes 128 ms to fill: what was begun must not be lost.
        SoundServer server({8000, 1});
        SoundProbe probe(server.address());
        QVERIFY(probe.findMicrophone());
        // PipeWire captures in cycles, and nothing while it is kept from one.
        const int allowedMs = 25 + SoundServer::cycleMs();
        int unfilled = 0;
        for (int round = 0; round < 10; ++round) {
            QElapsedTimer timer;
            probe.start();
            timer.start();
            QVERIFY(probe.waitForFrames(1));
            // A buffer that is full has come by the time that it is looked for: the stop falls between two.
            QVERIFY(ChildProcess::waitUntil([&] { return timer.elapsed() >= 260 + 13 * round; }));
            const auto recordedMs = timer.elapsed();
            probe.stop();
            QVERIFY(probe.waitForEnd());
            QVERIFY2(probe.frames() / 8 >= recordedMs - allowedMs,
                     qPrintable(u"%1 of %2 ms arrived"_s.arg(probe.frames() / 8).arg(recordedMs)));
            unfilled += probe.frames() % 1024 != 0;
        }
        QVERIFY(unfilled > 0);
    }

    void whatTheServerStillHeldAtTheStopArrives() {
        SoundServer server;
        SoundProbe probe(server.address());
        probe.record(4800);
        // What comes in while the server is busy elsewhere is late, but it was spoken before the stop.
        server.pause();
        QElapsedTimer hang;
        hang.start();
        ChildProcess::waitUntil([&] { return hang.elapsed() >= 60; });
        const auto before = probe.frames();
        probe.stop();
        server.resume();
        QVERIFY(probe.waitForEnd());
        // A PipeWire that stands still captures nothing meanwhile.
        const int capturedMs = SoundServer::isPipeWire() ? 0 : 40;
        QVERIFY2(probe.frames() >= before + 48 * capturedMs,
                 qPrintable(u"%1 ms arrived"_s.arg((probe.frames() - before) / 48)));
    }

    void whatASourceOfGreatLatencyStillHoldsAtTheStopArrives_data() {
        QTest::addColumn<int>("latencyMs");
        for (const int latencyMs : {0, 150, 250, 390})
            QTest::addRow("%d ms", latencyMs) << latencyMs;
    }
    void whatASourceOfGreatLatencyStillHoldsAtTheStopArrives() {
        QFETCH(int, latencyMs);
        constexpr int rate = 48000, framesPerStep = 16;
        SoundServer server({rate, 1, u"mono"_s});
        DistantServer distance(server.address(), latencyMs, {rate, 1});
        SoundProbe here(server.address()), there(distance.address());
        here.record(1);
        there.record(1);
        // The sound tells by its level how long it has been playing.
        const QTemporaryDir folder;
        platform::AudioBuffer clock{{rate, 1}, {}};
        for (int frame = 0; frame < 10 * rate; ++frame)
            clock.samples.push_back(static_cast<qint16>(frame / framesPerStep));
        test::writeWave(folder.filePath(u"clock.wav"_s), clock);
        const auto playing = server.play(folder.filePath(u"clock.wav"_s));
        QVERIFY(there.waitForFrames(rate / 2) &&
                ChildProcess::waitUntil([&] { return there.loudestSamples()[0] > 1000; }));
        here.stop();
        there.stop();
        QElapsedTimer sinceStop;
        sinceStop.start();
        QVERIFY(here.waitForEnd() && there.waitForEnd());
        qInfo("the end came %lld ms after the stop", sinceStop.elapsed());
        const int lostMs =
            (here.loudestSamples()[0] - there.loudestSamples()[0]) * framesPerStep * 1000 / rate;
        // A cycle of the server reaches both or just one of them, and what the server tells of a latency is
        // as old as that.
        QVERIFY2(lostMs <= 25 + SoundServer::cycleMs() + latencyMs / 10,
                 qPrintable(u"%1 ms were lost"_s.arg(lostMs)));
    }

    void theEndIsNotHeldBackForLongByALatencyWithoutMeasure() {
        SoundServer server({48000, 1, u"mono"_s});
        DistantServer distance(server.address(), 5000, {48000, 1});
        SoundProbe probe(distance.address());
        QVERIFY(probe.findMicrophone());
        probe.start();
        QElapsedTimer sinceStop;
        sinceStop.start();
        probe.stop();
        QVERIFY(probe.waitForEnd());
        QVERIFY2(sinceStop.elapsed() >= 490 && sinceStop.elapsed() < 1500,
                 qPrintable(QString::number(sinceStop.elapsed())));
    }

    void theEndIsNotHeldBackForLongByAServerThatHangs() {
        SoundServer server;
        SoundProbe probe(server.address());
        probe.record(4800);
        server.pause();
        const test::OwnTime timer;
        probe.stop();
        QVERIFY(timer.elapsed() < 50);
        QVERIFY(probe.waitForEnd());
        QVERIFY2(timer.elapsed() < 400, qPrintable(QString::number(timer.elapsed())));
        server.resume();
    }

    void nothingArrivesAfterTheEnd() {
        SoundServer server;
        SoundProbe probe(server.address());
        probe.record(4800);
        probe.stop();
        QVERIFY(probe.waitForEnd());
        const auto heard = probe.heard;
        const auto buffers = heard->buffers.size();
        probe.start();
        QVERIFY(probe.waitForFrames(4800));
        const std::lock_guard lock(heard->mutex);
        QCOMPARE(heard->buffers.size(), buffers);
    }

    void theFirstSampleComesAtOnce() {
        SoundServer server;
        SoundProbe probe(server.address());
        QVERIFY(probe.findMicrophone());
        const test::OwnTime timer;
        probe.start(64);
        const auto startMs = timer.elapsed();
        QVERIFY(probe.waitForFrames(1));
        qInfo("recording after %lld ms, first samples after %lld ms", startMs, timer.elapsed());
        QVERIFY(timer.elapsed() < 200);
    }

    void aStreamExistsOnlyWhileRecording() {
        SoundServer server;
        SoundProbe probe(server.address());
        QVERIFY(probe.findMicrophone());
        QCOMPARE(server.recordingCount(), 0);
        probe.start();
        QCOMPARE(server.recordingCount(), 1);
        probe.stop();
        QVERIFY(probe.waitForEnd());
        QTRY_COMPARE(server.recordingCount(), 0);
    }

    void oneConnectionIsKeptFromRecordingToRecording() {
        SoundServer server;
        SoundProbe probe(server.address());
        QVERIFY(probe.findMicrophone());
        const auto connections = server.connectionsOf("PulseCaptureTest");
        QCOMPARE(connections.count('\n'), 1);
        for (int round = 0; round < 2; ++round) {
            probe.record(4800);
            QCOMPARE(server.connectionsOf("PulseCaptureTest"), connections);
            probe.stop();
            QVERIFY(probe.waitForEnd());
            QCOMPARE(server.connectionsOf("PulseCaptureTest"), connections);
        }
    }

    void droppingTheCaptureEndsTheRecording() {
        SoundServer server;
        auto probe = std::make_unique<SoundProbe>(server.address());
        QVERIFY(probe->findMicrophone());
        probe->start();
        QCOMPARE(server.recordingCount(), 1);
        probe.reset();
        QTRY_COMPARE(server.recordingCount(), 0);
    }

    void theEndComesEvenIfTheConnectionIsClosedAtOnce() {
        SoundServer server;
        auto probe = std::make_unique<SoundProbe>(server.address());
        QVERIFY(probe->findMicrophone());
        probe->start();
        QVERIFY(probe->waitForFrames(4800));
        probe->stop();
        const auto heard = probe->heard;
        probe.reset();
        QTRY_VERIFY(heard->hasEnded);
    }
};

QTEST_GUILESS_MAIN(PulseCaptureTest)
#include "PulseCaptureTest.moc"
