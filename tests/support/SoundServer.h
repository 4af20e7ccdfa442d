#pragma once

#include "support/Daemon.h"
#include "support/PrivateSessionBus.h"

#include <QString>
#include <QStringList>
#include <QTemporaryDir>

#include <csignal>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace quillora::test {

using namespace Qt::StringLiterals;

/// A sound server of the test's own, whose default source is a virtual microphone. The microphone runs all
/// the time, as one that a desktop already uses. It is a PulseAudio, or a PipeWire that speaks its protocol
/// if the environment variable TEST_SOUND_SERVER says "pipewire".
class SoundServer {
public:
    struct Microphone {
        int rate = 48000; ///< Hz
        int channels = 2;
        QString channelMap = {}; ///< as in "front-left,front-right"; none: the server's default
    };

    /// Returns once the server answers and the microphone runs; throws std::runtime_error.
    explicit SoundServer(const Microphone &format);
    SoundServer();
    ~SoundServer();

    static bool isPipeWire();

    /// How much sound the server hands on at a time; next to nothing where it is PulseAudio.
    static int cycleMs();

    /// As in PULSE_SERVER.
    std::string address() const { return "unix:" + socketPath().toStdString(); }

    /// Plays a sound file into the microphone; it has been played when the program ends.
    std::unique_ptr<ChildProcess> play(const QString &path);

    void unplugMicrophone();
    void plugInMicrophone(const Microphone &format);

    /// How many recordings the server makes, the one that keeps the microphone running left out.
    int recordingCount();

    /// The default one and all others, a line each, for who looks for one in vain.
    QByteArray sources();

    /// The ids of the connections that a program of this name has, a line each.
    QByteArray connectionsOf(const QByteArray &program);

    /// Ends the server without warning.
    void kill();

    /// Stops and continues the server, as a hang does.
    void pause() { signal(SIGSTOP); }
    void resume() { signal(SIGCONT); }

    /// Starts a server that was killed again, at the same address.
    void restart() { start(); }

private:
    QString socketPath() const { return m_folder.filePath(u"pulse/native"_s); }
    QStringList environment() const;
    QByteArray control(const QStringList &arguments);
    bool answers();
    void start();
    void startPulseAudio();
    void startPipeWire();
    Daemon &startDaemon(const QString &program, const QStringList &arguments = {});
    void signal(int number);
    void loadMicrophone();
    void keepMicrophoneRunning();

    QTemporaryDir m_folder;
    Microphone m_microphone;
    std::optional<PrivateSessionBus> m_bus;
    std::vector<std::unique_ptr<Daemon>> m_daemons;
    std::unique_ptr<Daemon> m_listener;
};

} // namespace quillora::test
