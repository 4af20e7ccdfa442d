#include "support/SoundServer.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QLocalSocket>

#include <stdexcept>

using namespace Qt::StringLiterals;

namespace quillora::test {

namespace {

const QByteArray microphone = "microphone.monitor";

const QString soundServer = QStringLiteral(QUILLORA_SOUND_SERVER);

QString option(const QString &name, const QString &value) {
    return value.isEmpty() ? QString() : name + u'=' + value;
}

} // namespace

SoundServer::SoundServer(const Microphone &format) : m_microphone(format) {
    QDir(m_folder.path()).mkdir(u"pulse"_s);
    start();
}

SoundServer::SoundServer() : SoundServer(Microphone{}) {}

SoundServer::~SoundServer() { kill(); }

int SoundServer::cycleMs() { return isPipeWire() ? 86 : 0; }

bool SoundServer::isPipeWire() { return qEnvironmentVariable("TEST_SOUND_SERVER") == u"pipewire"; }

QStringList SoundServer::environment() const {
    return {u"HOME="_s + m_folder.path(),
            u"XDG_RUNTIME_DIR="_s + m_folder.path(),
            u"XDG_CONFIG_HOME="_s + m_folder.path(),
            u"XDG_STATE_HOME="_s + m_folder.path(),
            u"PULSE_RUNTIME_PATH="_s + m_folder.filePath(u"pulse"_s),
            u"PULSE_STATE_PATH="_s + m_folder.path(),
            u"PULSE_COOKIE="_s + m_folder.filePath(u"cookie"_s),
            u"PULSE_SERVER=unix:"_s + socketPath(),
            u"DISPLAY="_s,
            u"DBUS_SESSION_BUS_ADDRESS="_s + (m_bus ? m_bus->address() : u"disabled:"_s)};
}

QByteArray SoundServer::control(const QStringList &arguments) {
    ChildProcess pactl(u"pactl"_s, arguments, environment());
    if (!ChildProcess::waitUntil([&] { return !pactl.isRunning(); }) || pactl.process().exitCode() != 0)
        throw std::runtime_error("the sound server refuses " + arguments.join(u' ').toStdString());
    return pactl.process().readAllStandardOutput();
}

bool SoundServer::answers() {
    try {
        control({u"info"_s});
        return true;
    } catch (const std::runtime_error &) {
        return false;
    }
}

void SoundServer::start() {
    if (isPipeWire())
        startPipeWire();
    else
        startPulseAudio();
    m_daemons.back()->waitUntilReady([this] { return answers(); });
    loadMicrophone();
}

void SoundServer::startPulseAudio() { startDaemon(soundServer, {u"pulseaudio"_s, socketPath()}); }

void SoundServer::startPipeWire() {
    // The session manager does not do without a bus.
    if (!m_bus)
        m_bus.emplace();
    // The socket of a server that was killed is still there: only one that listens lets somebody connect.
    const auto listens = [core = m_folder.filePath(u"pipewire-0"_s)] {
        QLocalSocket socket;
        socket.connectToServer(core);
        return socket.waitForConnected();
    };
    startDaemon(soundServer, {u"pipewire"_s}).waitUntilReady(listens);
    startDaemon(u"wireplumber"_s);
    startDaemon(u"pipewire-pulse"_s);
}

Daemon &SoundServer::startDaemon(const QString &program, const QStringList &arguments) {
    m_daemons.push_back(std::make_unique<Daemon>(program, arguments, environment()));
    return *m_daemons.back();
}

void SoundServer::signal(int number) {
    for (const auto &daemon : m_daemons)
        daemon->signal(number);
}

void SoundServer::loadMicrophone() {
    control({u"load-module"_s, u"module-null-sink"_s, u"sink_name=microphone"_s,
             u"rate=%1"_s.arg(m_microphone.rate), u"channels=%1"_s.arg(m_microphone.channels),
             option(u"channel_map"_s, m_microphone.channelMap)});
    // PipeWire answers before the microphone is there, and before it can be made the default.
    const auto becomesDefault = [this] {
        try {
            control({u"set-default-source"_s, QString::fromUtf8(microphone)});
        } catch (const std::runtime_error &) {
            return false;
        }
        return control({u"get-default-source"_s}).trimmed() == microphone;
    };
    if (!ChildProcess::waitUntil(becomesDefault))
        throw std::runtime_error("the virtual microphone does not become the default");
    keepMicrophoneRunning();
}

void SoundServer::keepMicrophoneRunning() {
    const QString sample = m_folder.filePath(u"sample"_s);
    QFile::remove(sample);
    // A sink that runs idle takes up to two seconds to notice a listener; one that wakes up notices at once.
    control({u"suspend-sink"_s, u"microphone"_s, u"1"_s});
    m_listener = std::make_unique<Daemon>(u"sh"_s,
                                          QStringList{u"-c"_s,
                                                      u"parec --device=microphone.monitor --latency-msec=10 |"
                                                      u" { head -c 64 >\"$0\"; cat >/dev/null; }"_s,
                                                      sample},
                                          environment());
    m_listener->waitUntilReady(
        [this] { return !control({u"list"_s, u"short"_s, u"source-outputs"_s}).isEmpty(); });
    control({u"suspend-sink"_s, u"microphone"_s, u"0"_s});
    m_listener->waitUntilReady([&] { return QFileInfo(sample).size() > 0; });
}

/// With a latency that a busy machine keeps up with: a gap in the sound would be heard as another word.
std::unique_ptr<ChildProcess> SoundServer::play(const QString &path) {
    QStringList arguments{u"--device=microphone"_s, u"--latency-msec=500"_s, path};
    if (!m_microphone.channelMap.isEmpty())
        arguments.prepend(option(u"--channel-map"_s, m_microphone.channelMap));
    return std::make_unique<ChildProcess>(u"paplay"_s, arguments, environment());
}

void SoundServer::unplugMicrophone() {
    m_listener.reset();
    control({u"unload-module"_s, u"module-null-sink"_s});
}

void SoundServer::plugInMicrophone(const Microphone &format) {
    m_microphone = format;
    loadMicrophone();
}

int SoundServer::recordingCount() {
    return static_cast<int>(control({u"list"_s, u"short"_s, u"source-outputs"_s}).count('\n')) - 1;
}

QByteArray SoundServer::sources() {
    return control({u"get-default-source"_s}) + control({u"list"_s, u"short"_s, u"sources"_s});
}

QByteArray SoundServer::connectionsOf(const QByteArray &program) {
    QByteArray connections;
    for (const QByteArray &client : control({u"list"_s, u"short"_s, u"clients"_s}).split('\n'))
        if (client.contains(program))
            connections += client.left(client.indexOf('\t')) + '\n';
    return connections;
}

void SoundServer::kill() {
    m_listener.reset();
    signal(SIGKILL);
    for (const auto &daemon : m_daemons)
        daemon->process().waitForFinished();
    m_daemons.clear();
}

} // namespace quillora::test
