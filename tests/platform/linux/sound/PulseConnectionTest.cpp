#include "platform/linux/sound/SoundProbe.h"
#include "support/SoundServer.h"

#include <QDir>
#include <QTest>

#include <thread>

using namespace Qt::StringLiterals;
using namespace quillora;
using platform::AudioFormat;
using test::SoundProbe;
using test::SoundServer;

namespace {

/// How long a server that does not answer may be waited for, with what a busy machine adds.
constexpr qint64 refreshPatienceMs = 1500;

qsizetype openDescriptors() { return QDir(u"/proc/self/fd"_s).entryList(QDir::AllEntries).size(); }

} // namespace

/// The connection to the sound server: what it learns, and that it never waits for ever.
class PulseConnectionTest : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void theFormatIsThatOfTheDefaultSource_data() {
        QTest::addColumn<int>("rate");
        QTest::addColumn<int>("channels");
        QTest::newRow("telephone") << 8000 << 1;
        QTest::newRow("compact disc") << 44100 << 2;
        QTest::newRow("usual") << 48000 << 2;
        QTest::newRow("studio") << 96000 << 4;
    }
    void theFormatIsThatOfTheDefaultSource() {
        QFETCH(int, rate);
        QFETCH(int, channels);
        SoundServer server({rate, channels});
        SoundProbe probe(server.address());
        QVERIFY(probe.findMicrophone());
        QCOMPARE(probe.format(), (AudioFormat{double(rate), quint32(channels)}));
    }

    void withoutAServerThereAreNoChannels() {
        const QTemporaryDir nowhere;
        SoundProbe probe("unix:" + nowhere.filePath(u"native"_s).toStdString());
        QVERIFY(probe.refresh() < refreshPatienceMs);
        QCOMPARE(probe.format(), AudioFormat());
    }

    void aServerThatIsStartedLaterIsFound() {
        SoundServer server;
        server.kill();
        SoundProbe probe(server.address());
        probe.refresh();
        QCOMPARE(probe.format(), AudioFormat());
        server.restart();
        QVERIFY(probe.findMicrophone());
        QCOMPARE(probe.format(), (AudioFormat{48000, 2}));
    }

    void aServerThatWasRestartedIsFoundAgain() {
        SoundServer server;
        SoundProbe probe(server.address());
        QVERIFY(probe.findMicrophone());
        server.kill();
        server.restart();
        QVERIFY(probe.findMicrophone());
        QCOMPARE(probe.format(), (AudioFormat{48000, 2}));
    }

    void aServerThatHangsIsNoticedInTime() {
        SoundServer server;
        SoundProbe probe(server.address());
        QVERIFY(probe.findMicrophone());
        server.pause();
        QVERIFY(probe.refresh() < refreshPatienceMs);
        QCOMPARE(probe.format(), AudioFormat());
        server.resume();
        QVERIFY(probe.findMicrophone());
        QCOMPARE(probe.format(), (AudioFormat{48000, 2}));
    }

    void aServerThatHangsFromTheBeginningIsNoticedInTime() {
        SoundServer server;
        server.pause();
        SoundProbe probe(server.address());
        QVERIFY(probe.refresh() < refreshPatienceMs);
        QCOMPARE(probe.format(), AudioFormat());
        server.resume();
    }

    void aServerWithoutASourceHasNoChannels() {
        SoundServer server;
        server.unplugMicrophone();
        SoundProbe probe(server.address());
        probe.refresh();
        QCOMPARE(probe.format(), AudioFormat());
        server.plugInMicrophone({44100, 1});
        QVERIFY(probe.findMicrophone());
        QCOMPARE(probe.format(), (AudioFormat{44100, 1}));
    }

    void everyoneWhoAsksAtTheSameTimeIsAnswered() {
        SoundServer server;
        const auto connection = std::make_shared<platform::PulseConnection>(server.address());
        std::atomic<int> answers = 0;
        std::vector<std::thread> threads;
        for (int i = 0; i < 8; ++i)
            threads.emplace_back([&] { connection->refresh([&] { ++answers; }); });
        for (auto &thread : threads)
            thread.join();
        QTRY_COMPARE(answers.load(), 8);
    }

    void theConnectionIsClosedWhileItIsBeingMade() {
        SoundServer server;
        server.pause();
        for (int i = 0; i < 20; ++i)
            platform::PulseConnection(server.address());
        server.resume();
    }

    void reconnectingLeavesNothingBehind() {
        SoundServer server;
        SoundProbe probe(server.address());
        QVERIFY(probe.findMicrophone());
        const auto before = openDescriptors();
        for (int i = 0; i < 5; ++i) {
            server.pause();
            probe.refresh();
            server.resume();
            QVERIFY(probe.findMicrophone());
            QCOMPARE(probe.format(), (AudioFormat{48000, 2}));
        }
        QCOMPARE(openDescriptors(), before);
    }
};

QTEST_GUILESS_MAIN(PulseConnectionTest)
#include "PulseConnectionTest.moc"
