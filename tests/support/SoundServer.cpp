#include "support/SoundServer.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QLocalSocket>

#include <stdexcept>

namespace quillora::test {

namespace {

const QByteArray microphone = "microphone.monitor";

const QString soundServer = QStringLiteral(QUILLORA_SOUND_SERVER);

QString option(const QString &name, const QString &value) {
    return value.isEmpty() ? QString() : name + u'=' + value;
}

} // namespace

SoundServer::SoundServer(const Microphone &format) : m_microphone(format) {
    QDir(m_folder.path()).mkdir(u"pulse"_qs);
    start();
}

SoundServer::SoundServer() : SoundServer(Microphone{}) {}

SoundServer::~SoundServer() { kill(); }

int SoundServer::cycleMs() { return isPipeWire() ? 86 : 0; }

bool SoundServer::isPipeWire() { return qEnvironmentVariable("TEST_SOUND_SERVER") == u"pipewire"; }

QStringList SoundServer::environment() const {
    return {u"HOME="_qs + m_folder.path(),
            u"XDG_RUNTIME_DIR="_qs + m_folder.path(),
            u"XDG_CONFIG_HOME="_qs + m_folder.path(),
            u"XDG_STATE_HOME="_qs + m_folder.path(),
            u"PULSE_RUNTIME_PATH="_qs + m_folder.filePath(u"pulse"_qs),
            u"PULSE_STATE_PATH="_qs + m_folder.path(),
            u"PULSE_COOKIE="_qs + m_folder.filePath(u"cookie"_qs),
            u"PULSE_SERVER=unix:"_qs + socketPath(),
            u"DISPLAY="_qs,
            u"DBUS_SESSION_BUS_ADDRESS="_qs + (m_bus ? m_bus->address() : u"disabled:"_qs)};
}

QByteArray SoundServer::control(const QStringList &arguments) {
    ChildProcess pactl(u"pactl"_qs, arguments, environment());
    if (!ChildProcess::waitUntil([&] { return !pactl.isRunning(); }) || pactl.process().exitCode() != 0)
        throw std::runtime_error("the sound server refuses " + arguments.join(u' ').toStdString());
    return pactl.process().readAllStandardOutput();
}

bool SoundServer::answers() {
    try {
        control({u"info"_qs});
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

void SoundServer::startPulseAudio() { startDaemon(soundServer, {u"pulseaudio"_qs, socketPath()}); }

void SoundServer::startPipeWire() {
    // The session manager does not do without a bus.
    if (!m_bus)
        m_bus.emplace();
    // The socket of a server that was killed is still there: only one that listens lets somebody connect.
    const auto listens = [core = m_folder.filePath(u"pipewire-0"_qs)] {
        QLocalSocket socket;
        socket.connectToServer(core);
        return socket.waitForConnected();
    };
    startDaemon(soundServer, {u"pipewire"_qs}).waitUntilReady(listens);
    startDaemon(u"wireplumber"_qs);
    startDaemon(u"pipewire-pulse"_qs);
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
    control({u"load-module"_qs, u"module-null-sink"_qs, u"sink_name=microphone"_qs,
             u"rate=%1"_qs.arg(m_microphone.rate), u"channels=%1"_qs.arg(m_microphone.channels),
             option(u"channel_map"_qs, m_microphone.channelMap)});
    // PipeWire answers before the microphone is there, and before it can be made the default.
    const auto becomesDefault = [this] {
        try {
            control({u"set-default-source"_qs, QString::fromUtf8(microphone)});
        } catch (const std::runtime_error &) {
            return false;
        }
        return control({u"get-default-source"_qs}).trimmed() == microphone;
    };
    if (!ChildProcess::waitUntil(becomesDefault))
        throw std::runtime_error("the virtual microphone does not become the default");
    keepMicrophoneRunning();
}

void SoundServer::keepMicrophoneRunning() {
    const QString sample = m_folder.filePath(u"sample"_qs);
    QFile::remove(sample);
    // A sink that runs idle takes up to two seconds to notice a listener; one that wakes up notices at once.
    control({u"suspend-sink"_qs, u"microphone"_qs, u"1"_qs});
    m_listener = std::make_unique<Daemon>(u"sh"_qs,
                                          QStringList{u"-c"_qs,
                                                      u"parec --device=microphone.monitor --latency-msec=10 |"
                                                      u" { head -c 64 >\"$0\"; cat >/dev/null; }"_qs,
                                                      sample},
                                          environment());
    m_listener->waitUntilReady(
        [this] { return !control({u"list"_qs, u"short"_qs, u"source-outputs"_qs}).isEmpty(); });
    control({u"suspend-sink"_qs, u"microphone"_qs, u"0"_qs});
    m_listener->waitUntilReady([&] { return QFileInfo(sample).size() > 0; });
}

/// With a latency that a busy machine keeps up with: a gap in the sound would be heard as another word.
std::unique_ptr<ChildProcess> SoundServer::play(const QString &path) {
    QStringList arguments{u"--device=microphone"_qs, u"--latency-msec=500"_qs, path};
    if (!m_microphone.channelMap.isEmpty())
        arguments.prepend(option(u"--channel-map"_qs, m_microphone.channelMap));
    return std::make_unique<ChildProcess>(u"paplay"_qs, arguments, environment());
}

void SoundServer::unplugMicrophone() {
    m_listener.reset();
    control({u"unload-module"_qs, u"module-null-sink"_qs});
}

void SoundServer::plugInMicrophone(const Microphone &format) {
    m_microphone = format;
    loadMicrophone();
}

int SoundServer::recordingCount() {
    return static_cast<int>(control({u"list"_qs, u"short"_qs, u"source-outputs"_qs}).count('\n')) - 1;
}

QByteArray SoundServer::connectionsOf(const QByteArray &program) {
    QByteArray connections;
    for (const QByteArray &client : control({u"list"_qs, u"short"_qs, u"clients"_qs}).split('\n'))
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
