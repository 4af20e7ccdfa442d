#include "support/SoundServer.h"

#include <QFile>
#include <QFileInfo>

#include <stdexcept>

namespace quillora::test {

namespace {

QString nullSink(const SoundServer::Microphone &microphone) {
    return u"module-null-sink sink_name=microphone rate=%1 channels=%2"_qs.arg(microphone.rate)
        .arg(microphone.channels);
}

} // namespace

SoundServer::SoundServer(const Microphone &microphone) : m_microphone(microphone) { startServer(); }

SoundServer::~SoundServer() = default;

QStringList SoundServer::environment() const {
    return {u"HOME="_qs + m_folder.path(),
            u"XDG_RUNTIME_DIR="_qs + m_folder.path(),
            u"XDG_CONFIG_HOME="_qs + m_folder.path(),
            u"PULSE_RUNTIME_PATH="_qs + m_folder.path(),
            u"PULSE_STATE_PATH="_qs + m_folder.path(),
            u"PULSE_COOKIE="_qs + m_folder.filePath(u"cookie"_qs),
            u"PULSE_SERVER=unix:"_qs + socketPath(),
            u"DISPLAY="_qs,
            u"DBUS_SESSION_BUS_ADDRESS=disabled:"_qs};
}

QByteArray SoundServer::control(const QStringList &arguments) {
    ChildProcess pactl(u"pactl"_qs, arguments, environment());
    if (!ChildProcess::waitUntil([&] { return !pactl.isRunning(); }) || pactl.process().exitCode() != 0)
        throw std::runtime_error("the sound server refuses " + arguments.join(u' ').toStdString());
    return pactl.process().readAllStandardOutput();
}

void SoundServer::startServer() {
    m_server = std::make_unique<ChildProcess>(
        u"pulseaudio"_qs,
        QStringList{u"-n"_qs, u"--daemonize=no"_qs, u"--exit-idle-time=-1"_qs, u"--use-pid-file=no"_qs,
                    u"--disable-shm=true"_qs, u"--realtime=no"_qs, u"--high-priority=no"_qs, u"-L"_qs,
                    u"module-native-protocol-unix auth-anonymous=1 socket="_qs + socketPath(), u"-L"_qs,
                    nullSink(m_microphone)},
        environment());
    const auto answers = [this] {
        try {
            control({u"info"_qs});
            return true;
        } catch (const std::runtime_error &) {
            return false;
        }
    };
    if (!ChildProcess::waitUntil(answers))
        throw std::runtime_error("the sound server does not start");
    keepMicrophoneRunning();
}

void SoundServer::keepMicrophoneRunning() {
    const QString sample = m_folder.filePath(u"sample"_qs);
    QFile::remove(sample);
    // A sink that runs idle takes up to two seconds to notice a listener; one that wakes up notices at once.
    control({u"suspend-sink"_qs, u"microphone"_qs, u"1"_qs});
    m_listener =
        std::make_unique<ChildProcess>(u"sh"_qs,
                                       QStringList{u"-c"_qs,
                                                   u"parec --device=microphone.monitor --latency-msec=10 |"
                                                   u" { head -c 64 >\"$0\"; cat >/dev/null; }"_qs,
                                                   sample},
                                       environment());
    const auto isListening = [this] {
        return !control({u"list"_qs, u"short"_qs, u"source-outputs"_qs}).isEmpty();
    };
    ChildProcess::waitUntil(isListening);
    control({u"suspend-sink"_qs, u"microphone"_qs, u"0"_qs});
    if (!ChildProcess::waitUntil([&] { return QFileInfo(sample).size() > 0; }))
        throw std::runtime_error("the virtual microphone does not run");
}

std::unique_ptr<ChildProcess> SoundServer::play(const QString &path) {
    return std::make_unique<ChildProcess>(
        u"paplay"_qs, QStringList{u"--device=microphone"_qs, u"--latency-msec=20"_qs, path}, environment());
}

void SoundServer::unplugMicrophone() {
    control({u"unload-module"_qs, u"module-null-sink"_qs});
    m_listener.reset();
}

void SoundServer::plugInMicrophone(const Microphone &microphone) {
    m_microphone = microphone;
    control(QStringList{u"load-module"_qs} + nullSink(microphone).split(u' '));
    keepMicrophoneRunning();
}

int SoundServer::recordingCount() {
    return static_cast<int>(control({u"list"_qs, u"short"_qs, u"source-outputs"_qs}).count('\n')) - 1;
}

void SoundServer::kill() {
    m_server->signal(SIGKILL);
    m_server->process().waitForFinished();
    m_listener.reset();
}

void SoundServer::restart() { startServer(); }

} // namespace quillora::test
