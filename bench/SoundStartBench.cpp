// From the press to the first sample, as a dictation begins: look for the microphone, open it, wait. For a
// source that somebody else uses already, one that nobody uses, and one that sleeps. PulseAudio, or PipeWire
// with TEST_SOUND_SERVER=pipewire. A virtual source needs no time to wake; what a device needs comes on top.
#include "platform/linux/sound/SoundProbe.h"
#include "support/SoundServer.h"

#include <QCoreApplication>
#include <QElapsedTimer>

#include <algorithm>
#include <cstdio>

using namespace Qt::StringLiterals;
using namespace quillora;
using test::ChildProcess;
using test::SoundProbe;
using test::SoundServer;

namespace {

constexpr int presses = 11;
constexpr quint32 bufferFrames = 64;

QByteArray control(const SoundServer &server, const QStringList &arguments) {
    ChildProcess pactl(u"pactl"_s, arguments,
                       {u"PULSE_SERVER="_s + QString::fromStdString(server.address())});
    if (!ChildProcess::waitUntil([&] { return !pactl.isRunning(); }) || pactl.process().exitCode() != 0)
        throw std::runtime_error("pactl " + arguments.join(u' ').toStdString() + " failed");
    return pactl.process().readAllStandardOutput();
}

void pause(int milliseconds) {
    QElapsedTimer timer;
    timer.start();
    ChildProcess::waitUntil([&] { return timer.elapsed() >= milliseconds; });
}

bool isAsleep(const SoundServer &server, const QString &source) {
    for (const QByteArray &line : control(server, {u"list"_s, u"short"_s, u"sources"_s}).split('\n'))
        if (line.contains(source.toUtf8()))
            return line.endsWith("SUSPENDED");
    return false;
}

struct Times {
    double found = 0; ///< since the press, here and below; ms
    double opened = 0;
    double heard = 0;
};

Times press(SoundProbe &probe) {
    struct FirstSample {
        QElapsedTimer sincePress;
        std::atomic<qint64> nanoseconds = 0;
    };
    const auto first = std::make_shared<FirstSample>();
    first->sincePress.start();
    const auto milliseconds = [&] { return double(first->sincePress.nsecsElapsed()) / 1e6; };
    Times times;
    std::atomic<bool> isFound = false;
    probe.connection->refresh([&] {
        isFound = true;
        isFound.notify_all();
    });
    isFound.wait(false);
    times.found = milliseconds();
    probe.capture = probe.microphone.capture(
        bufferFrames,
        [first](const auto &) {
            qint64 none = 0;
            first->nanoseconds.compare_exchange_strong(none, first->sincePress.nsecsElapsed());
        },
        [](const auto &) {});
    times.opened = milliseconds();
    ChildProcess::waitUntil([&] { return first->nanoseconds != 0; });
    times.heard = double(first->nanoseconds) / 1e6;
    probe.stop();
    ChildProcess::waitUntil([&] { return probe.heard->hasEnded.load(); });
    return times;
}

void measure(const char *name, SoundProbe &probe, const std::function<void()> &prepare) {
    std::vector<double> found, opened, heard;
    for (int i = 0; i < presses; ++i) {
        prepare();
        const auto times = press(probe);
        found.push_back(times.found);
        opened.push_back(times.opened);
        heard.push_back(times.heard);
    }
    const auto median = [](std::vector<double> &times) {
        std::sort(times.begin(), times.end());
        return times[times.size() / 2];
    };
    std::printf("  %-10s found %6.1f  opened %6.1f  first sample %7.1f  (worst %7.1f) ms\n", name,
                median(found), median(opened), median(heard), heard.back());
}

void measureSource(SoundServer &server, const char *title, const QString &source,
                   const QStringList &moduleArguments) {
    std::printf("%s\n", title);
    control(server, QStringList{u"load-module"_s} + moduleArguments);
    pause(500);
    control(server, {u"set-default-source"_s, source});
    SoundProbe probe(server.address());
    pause(500);
    measure("unused", probe, [] { pause(300); });
    measure("asleep", probe, [&] {
        if (SoundServer::isPipeWire())
            control(server, {u"suspend-source"_s, source, u"1"_s});
        else if (!ChildProcess::waitUntil([&] { return isAsleep(server, source); }))
            throw std::runtime_error("the source does not fall asleep");
    });
    const ChildProcess listener(u"parec"_s, {u"--latency-msec=10"_s, u"--device="_s + source},
                                {u"PULSE_SERVER="_s + QString::fromStdString(server.address())});
    pause(2500);
    measure("in use", probe, [] { pause(100); });
}

} // namespace

int main(int argc, char **argv) {
    const QCoreApplication application(argc, argv);
    std::setvbuf(stdout, nullptr, _IOLBF, 0);
    std::printf("%s, medians of %d presses\n", SoundServer::isPipeWire() ? "PipeWire" : "PulseAudio",
                presses);
    SoundServer server;
    server.unplugMicrophone();
    if (!SoundServer::isPipeWire()) // PipeWire's session manager does the same on request
        control(server, {u"load-module"_s, u"module-suspend-on-idle"_s, u"timeout=2"_s});
    if (SoundServer::isPipeWire())
        measureSource(server, "virtual source", u"silence"_s,
                      {u"module-null-sink"_s, u"sink_name=silence"_s, u"media.class=Audio/Source/Virtual"_s,
                       u"channel_map=mono"_s});
    else
        measureSource(server, "virtual source", u"silence"_s,
                      {u"module-null-source"_s, u"source_name=silence"_s});
    measureSource(server, "monitor of a virtual speaker", u"speaker.monitor"_s,
                  {u"module-null-sink"_s, u"sink_name=speaker"_s});
    return 0;
}
